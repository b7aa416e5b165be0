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

/// The exit code, and its line on standard error; 0 when there is no failure.
int fail(const std::optional<Failure> &failure)
{
    if (!failure)
        return static_cast<int>(ExitCode::Good);
    QString line = failure->text;
    line.replace(QLatin1Char('\n'), QLatin1Char(' '));
    std::fprintf(stderr, "fplink: %s\n", line.toLocal8Bit().constData());
    return static_cast<int>(failure->code);
}

/// Values that nobody could see were not delivered: a full disk, for example.
std::optional<Failure> whyNotPrinted()
{
    if (std::fflush(stdout) == 0 && !std::ferror(stdout))
        return std::nullopt;
    return Failure{ExitCode::Failed, QStringLiteral("standard output cannot be written")};
}

QString commandNames()
{
    QStringList names;
    for (const CommandRow &row : kCommands)
        names.append(QString::fromLatin1(row.name));
    return names.join(QLatin1Char(' '));
}

/// A first word that is neither an option nor a command is told as such; the parser would miss its options first.
std::optional<Failure> whyNoCommand(int argc, char **argv)
{
    if (argc < 2)
        return Failure{
            ExitCode::Usage,
            QStringLiteral("a command is missing; commands are %1, and --help tells more").arg(commandNames())};
    const QString first = textOf(argv[1]);
    for (const CommandRow &row : kCommands) {
        if (first == QLatin1String(row.name))
            return std::nullopt;
    }
    if (first.startsWith(QLatin1Char('-')))
        return std::nullopt;
    return Failure{ExitCode::Usage, QStringLiteral("%1: no such command; commands are %2").arg(first, commandNames())};
}

int run(int argc, char **argv)
{
    if (const std::optional<Failure> failure = whyNoCommand(argc, argv))
        return fail(failure);
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
        return fail(Failure{ExitCode::Usage, QString::fromLocal8Bit(error.what())});
    }
    for (const auto &[command, runCommand] : commands) {
        if (!command->parsed())
            continue;
        const std::optional<Failure> failure = runCommand();
        return fail(failure ? failure : whyNotPrinted());
    }
    return static_cast<int>(ExitCode::Usage); // not reached: one command is required
}

} // namespace

int main(int argc, char **argv)
{
    try {
        return run(argc, argv);
    } catch (const std::exception &error) {
        return fail(Failure{ExitCode::Failed, QString::fromLocal8Bit(error.what())});
    }
}
