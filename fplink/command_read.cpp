// command_read.cpp - fplink read: reads values once and prints them.

#include "commands.h"

#include "value_table.h"

namespace fplink
{

namespace
{

struct ReadOptions {
    LinkOptions link;
    std::vector<std::string> addresses;
    TableStyle style;
    bool json = false;
};

std::optional<Failure> runRead(const ReadOptions &options)
{
    std::vector<fphost::Span> spans;
    if (std::optional<Failure> failure = parseAddresses(options.addresses, options.link.station, &spans))
        return failure;
    Connection connection(options.link);
    if (std::optional<Failure> failure = connection.open(spans))
        return failure;
    TableStyle style = options.style;
    style.withStation = connection.severalStations();

    std::vector<ReadValues> all;
    std::optional<Failure> failure;
    for (const fphost::Span &span : spans) {
        ReadValues values = {span, QByteArray()};
        failure = connection.read(span, &values.bytes);
        if (failure)
            break;
        all.push_back(values);
    }
    // Nobody shall take the simulator's values for those of a PLC that he forgot to name.
    if (connection.embedded() && !options.json)
        printLine(QStringLiteral("from %1").arg(connection.plcText()));
    // What was read before a failure is shown, but a program that reads JSON gets all or nothing.
    if (!options.json)
        print(valueTable(all, style));
    else if (!failure)
        print(valueJson(all, style, connection.plcText()));
    return failure;
}

} // namespace

RunCommand addReadCommand(CLI::App &command)
{
    const auto options = std::make_shared<ReadOptions>();
    command.add_option("address", options->addresses, "what to read: DT100, DT100:8, R10F, DT5@2 ...")
        ->required()
        ->type_name("");
    addLinkOptions(command, options->link);
    command.add_flag("--signed", options->style.asSigned, "show words as -32768 to 32767");
    command.add_flag("--json", options->json, "print one line of JSON");
    command.footer(kAddressHelp + exitCodeHelp());
    return [options] { return runRead(*options); };
}

} // namespace fplink
