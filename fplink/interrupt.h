// interrupt.h - a clean end on Ctrl-C (SIGINT) and SIGTERM for commands that run until then.

#pragma once

namespace fplink
{

/// From now on SIGINT and SIGTERM no longer end the program; interrupted() tells that one came.
void catchInterrupts();

bool interrupted();

/// Waits, but not longer than until an interrupt comes.
void waitOrInterrupt(int milliseconds);

} // namespace fplink
