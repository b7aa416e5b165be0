// program.cpp - see program.h.

#include "program.h"

#include "shown_text.h"

#include <sstream>

namespace fplink
{

namespace
{

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

QString commandNames()
{
    QStringList names;
    for (const CommandRow &row : kCommands)
        names.append(QString::fromLatin1(row.name));
    return names.join(QLatin1Char(' '));
}

/// A first word that is neither an option nor a command is told as such; the parser would miss its options first.
std::optional<Failure> whyNoCommand(int argc, const char *const *argv)
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
    return Failure{ExitCode::Usage,
                   QStringLiteral("%1: no such command; commands are %2").arg(quoted(first), commandNames())};
}

} // namespace

Program::Program()
    : app_("fplink exchanges data with PLCs through the driver library, from the command line.", "fplink")
{
    app_.set_version_flag("--version", "fplink " FPLINK_VERSION);
    app_.require_subcommand(1);
    app_.footer(exitCodeHelp());
    for (const CommandRow &row : kCommands) {
        CLI::App *command = app_.add_subcommand(row.name, row.summary);
        commands_.emplace_back(command, row.add(*command));
    }
}

std::optional<Failure> Program::parse(int argc, const char *const *argv)
{
    if (std::optional<Failure> failure = whyNoCommand(argc, argv))
        return failure;
    try {
        app_.parse(argc, argv);
    } catch (const CLI::ParseError &error) {
        if (error.get_exit_code() != 0)
            return Failure{ExitCode::Usage, textOf(error.what())};
        std::ostringstream text; // of --help and --version
        app_.exit(error, text, text);
        chosen_ = [help = text.str()]() -> std::optional<Failure> {
            print(textOf(help));
            return std::nullopt;
        };
        return std::nullopt;
    }
    for (const auto &[command, runCommand] : commands_) {
        if (command->parsed())
            chosen_ = runCommand;
    }
    return std::nullopt;
}

std::optional<Failure> Program::run()
{
    return chosen_();
}

QString errorLine(const Failure &failure)
{
    return QStringLiteral("fplink: ") + shown(failure.text) + QLatin1Char('\n');
}

} // namespace fplink
