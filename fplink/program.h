// program.h - fplink from its arguments to the command that runs.

#pragma once

#include "commands.h"

#include <utility>

namespace fplink
{

class Program
{
public:
    Program();

    /// Reads a command line, the program's name first. Result: nothing, and run() does what it asks for; or why not.
    std::optional<Failure> parse(int argc, const char *const *argv);

    /// Runs the command. Result: nothing when all was good, or why it ended. After --help or --version it prints the
    /// text.
    std::optional<Failure> run();

private:
    CLI::App app_;
    std::vector<std::pair<CLI::App *, RunCommand>> commands_;
    RunCommand chosen_;
};

/// What standard error gets of a failure: "fplink: ", the text in one line of printable characters, and a line end.
QString errorLine(const Failure &failure);

} // namespace fplink
