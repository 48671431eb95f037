#pragma once

// The program's text console on the standard streams. A Linux program already has its terminal (or the pipes
// it was given): opening and closing the console succeed without effect. RunStdioConsole is the loop that makes
// it a console: it reads command lines from one stream and answers each on another.

#include "qor_core/console/consolecmdmanager.h"
#include "qor_core/qor_types.h"

#include <cstdio>

// Nothing to allocate or free on Linux; both succeed.
bool OpenConsole();
bool CloseConsole();

// Writes the prompt "> ", reads a line, runs it through Manager and writes the result's text and a line end,
// until the input ends or the line "exit" comes. A line longer than the manager takes is read to its end and
// answered with the manager's error. Returns the count of lines run.
int32 RunStdioConsole( std::FILE* pIn, std::FILE* pOut, CConsoleCmdManager& Manager );
