// exit_code.cpp - see exit_code.h.

#include "exit_code.h"

namespace fplink
{

namespace
{

struct Row {
    ExitCode code;
    const char *meaning;
};

const Row kRows[] = {
    {ExitCode::Good, "everything was done"},
    {ExitCode::Failed, "something that should have happened did not"},
    {ExitCode::Usage, "bad command line, address or value"},
    {ExitCode::Unreachable, "the PLC cannot be reached, or the connection was lost"},
    {ExitCode::Refused, "the PLC refused the request (error response)"},
    {ExitCode::TimeOut, "the PLC did not answer in time"},
    {ExitCode::BadReply, "the PLC's answers could not be understood"},
    {ExitCode::Library, "the driver library could not be loaded"},
    {ExitCode::Simulator, "the simulator could not start, or its memory file could not be used"},
};

} // namespace

std::string exitCodeHelp()
{
    std::string text = "Exit codes (each but 0 comes with one line on standard error):\n";
    for (const Row &row : kRows)
        text += "  " + std::to_string(static_cast<int>(row.code)) + "  " + row.meaning + "\n";
    return text;
}

} // namespace fplink
