// main.cpp - fplink: the command line, and how it ends.

#include "commands.h"

#include <cstdio>
#include <exception>

namespace
{

using namespace fplink;

struct CommandRow {
    const char *name;
    const char *summary;
    RunCommand (*add)(CLI::App &command);
};

const CommandRow kCommands[] = {
    {"read", "read values once and print them", &addReadCommand},
    {"write", "write values and wait until the PLC has acknowledged them", &addWriteCommand},
    {"watch", "show values as they change", &addWatchCommand},
    {"sim", "serve simulated PLCs until interrupted", &addSimCommand},
};

int fail(const Failure &failure)
{
    QString line = failure.text;
    line.replace(QLatin1Char('\n'), QLatin1Char(' '));
    std::fprintf(stderr, "fplink: %s\n", line.toLocal8Bit().constData());
    return static_cast<int>(failure.code);
}

int run(int argc, char **argv)
{
    CLI::App app("fplink exchanges data with PLCs through the driver library, from the command line.", "fplink");
    app.set_version_flag("--version", "fplink " FPLINK_VERSION);
    app.require_subcommand(1);
    app.footer(exitCodeHelp());
    std::vector<std::pair<CLI::App *, RunCommand>> commands;
    for (const CommandRow &row : kCommands) {
        CLI::App *command = app.add_subcommand(row.name, row.summary);
        commands.emplace_back(command, row.add(*command));
    }
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError &error) {
        if (error.get_exit_code() == 0) // --help and --version
            return app.exit(error);
        return fail({ExitCode::Usage, QString::fromLocal8Bit(error.what())});
    }
    for (const auto &[command, runCommand] : commands) {
        if (!command->parsed())
            continue;
        const std::optional<Failure> failure = runCommand();
        return failure ? fail(*failure) : static_cast<int>(ExitCode::Good);
    }
    return static_cast<int>(ExitCode::Usage); // not reached: one command is required
}

} // namespace

int main(int argc, char **argv)
{
    try {
        return run(argc, argv);
    } catch (const std::exception &error) {
        return fail({ExitCode::Failed, QString::fromLocal8Bit(error.what())});
    }
}
