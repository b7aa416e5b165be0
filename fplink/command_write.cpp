// command_write.cpp - fplink write: writes values and waits until the PLC has acknowledged them.

#include "commands.h"

#include "assignments.h"

namespace fplink
{

namespace
{

struct WriteOptions {
    LinkOptions link;
    std::vector<std::string> arguments;
};

std::optional<Failure> runWrite(const WriteOptions &options)
{
    QStringList arguments;
    for (const std::string &argument : options.arguments)
        arguments.append(textOf(argument));
    std::vector<Assignment> assignments;
    if (const std::optional<QString> why = parseAssignments(arguments, options.link.station, &assignments))
        return Failure{ExitCode::Usage, *why};
    std::vector<fphost::Span> spans;
    for (const Assignment &one : assignments)
        spans.push_back(one.span);
    Connection connection(options.link);
    if (std::optional<Failure> failure = connection.open(spans))
        return failure;
    if (connection.embedded()) // nobody shall think that he has written to a PLC that he forgot to name
        printLine(QStringLiteral("to %1").arg(connection.plcText()));
    for (const Assignment &one : assignments) {
        if (std::optional<Failure> failure = connection.write(one.span, one.bytes))
            return failure;
        const bool all = one.span.station == fphost::kBroadcast;
        printLine(QStringLiteral("%1 = %2  %3")
                      .arg(addressOf(one.span, connection.severalStations()), one.values.join(QLatin1Char(' ')),
                           all ? QStringLiteral("sent to all stations") : QStringLiteral("written")));
    }
    return std::nullopt;
}

} // namespace

RunCommand addWriteCommand(CLI::App &command)
{
    const auto options = std::make_shared<WriteOptions>();
    command
        .add_option("assignment", options->arguments,
                    "DT100=5, DT100=1,2,0x1F, R10F=1 ...; or one address and its values: DT100 1 2 -3")
        ->required()
        ->type_name("");
    addLinkOptions(command, options->link);
    command.footer(kAddressHelp +
                   std::string("Values: 0 and 1 for bits; -32768 to 65535 or 0x0 to 0xFFFF for words. X, T, C and WX "
                               "cannot be written.\n") +
                   exitCodeHelp());
    return [options] { return runWrite(*options); };
}

} // namespace fplink
