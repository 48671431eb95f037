#pragma once

// The stand-in for a message box on Linux: a question on the controlling terminal (/dev/tty), answered by
// the number of a choice and Enter. It is written and read on the terminal itself, not on the standard
// streams, so it reaches the person even when the program's output goes to a file or a pipe.
// Nobody is asked when nobody can answer: a process without a controlling terminal, or one with CI set in
// its environment, gets no prompt at all, nor does a job in the background of its terminal; a terminal that goes
// away while asking ends the question.
// While asking, the terminal reads whole echoed lines, whatever mode the program had put it in; the mode
// is restored afterwards.

#include <termios.h>

namespace NPlatform
{
class CTerminalPrompt
{
public:
    // Opens the controlling terminal, unless CI is set in the environment or the process runs in the background.
    CTerminalPrompt();
    ~CTerminalPrompt();
    CTerminalPrompt( const CTerminalPrompt& ) = delete;
    CTerminalPrompt& operator=( const CTerminalPrompt& ) = delete;

    // False when there is nobody to ask.
    bool IsOpen() const { return _nFile >= 0; }
    // Gives the terminal its mode back and lets it go; the destructor does so too.
    void Close();
    void Write( const char* pText );
    // Shows the choices as "[1] First  [2] Second ..." and waits for one. An empty answer takes nDefault; any
    // other answer than a choice's number asks again. Returns the number (1-based), or 0 when the terminal is
    // closed or gone. REQUIRES: IsOpen(), 1 <= nDefault <= nChoices.
    int Choose( const char* const* ppChoices, int nChoices, int nDefault );

private:
    int _nFile = -1;
    bool _bModeSaved = false;
    termios _SavedMode{};
};
} // namespace NPlatform
