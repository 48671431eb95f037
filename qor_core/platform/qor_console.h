#pragma once

// The console of a program on Linux, for the command line actions that print to it. A Linux program already
// has its parent's terminal: attaching to it and allocating one succeed without effect, so the library never
// waits for a key of a console it made. What stays is the question whether a standard stream is connected,
// and the reconnection of one that is not to the controlling terminal.
//
// A stream is connected when its descriptor is open, whatever it leads to (terminal, file or pipe), as a
// Windows handle of a real type is. isatty() would call a pipe unconnected and send piped output to the
// terminal instead.

namespace NPlatform
{
enum class EStandardStream
{
    Output,
    Error,
};

bool IsStandardStreamConnected( EStandardStream Stream );
// Opens the controlling terminal ("/dev/tty") on the stream's descriptor. False when the process has none.
bool ConnectStandardStreamToTerminal( EStandardStream Stream );
} // namespace NPlatform
