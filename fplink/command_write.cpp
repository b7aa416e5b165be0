// command_write.cpp - fplink write: writes values and waits until the PLC has acknowledged them.

#include "commands.h"

#include "numbers.h"

namespace fplink
{

namespace
{

struct WriteOptions {
    LinkOptions link;
    std::vector<std::string> arguments;
};

/// One write as it was asked for.
struct Assignment {
    fphost::Span span;
    QStringList values; // as text
    QByteArray bytes;
};

std::optional<Failure> usage(const QString &text)
{
    return Failure{ExitCode::Usage, text};
}

/// ADDRESS=VALUE[,VALUE...] as often as wanted, or one ADDRESS VALUE...; a count may be left out when there are several
/// values.
std::optional<Failure> parseAssignments(const WriteOptions &options, std::vector<Assignment> *all)
{
    std::vector<std::pair<QString, QStringList>> pairs;
    const QString first = textOf(options.arguments.front());
    if (first.contains(QLatin1Char('='))) {
        for (const std::string &argument : options.arguments) {
            const QString text = textOf(argument);
            const int equals = text.indexOf(QLatin1Char('='));
            if (equals < 0)
                return usage(QStringLiteral("%1: write ADDRESS=VALUE[,VALUE...]").arg(text));
            pairs.emplace_back(text.left(equals), text.mid(equals + 1).split(QLatin1Char(',')));
        }
    } else {
        QStringList values;
        for (std::size_t i = 1; i < options.arguments.size(); ++i)
            values.append(textOf(options.arguments[i]).split(QLatin1Char(',')));
        if (values.isEmpty())
            return usage(QStringLiteral("%1: a value is missing").arg(first));
        pairs.emplace_back(first, values);
    }
    for (const auto &[address, values] : pairs) {
        Assignment one;
        one.values = values;
        if (const std::optional<QString> why = parseAddress(address, options.link.station, &one.span))
            return usage(*why);
        if (one.span.count == 1)
            one.span.count = values.size();
        if (const std::optional<QString> why = fphost::whyNotWritable(one.span))
            return usage(*why);
        if (const std::optional<QString> why = parseValues(one.span, values, &one.bytes))
            return usage(*why);
        all->push_back(one);
    }
    return std::nullopt;
}

std::optional<Failure> runWrite(const WriteOptions &options)
{
    std::vector<Assignment> assignments;
    if (std::optional<Failure> failure = parseAssignments(options, &assignments))
        return failure;
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
