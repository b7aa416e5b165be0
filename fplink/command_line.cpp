// command_line.cpp - what the commands' options and output have in common; see commands.h.

#include "commands.h"

#include "shown_text.h"

#include <cstdio>

namespace fplink
{

namespace
{

constexpr int kLongestMs = 3600000;

} // namespace

const char kAddressHelp[] =
    "Addresses: DT100 LD7 FL12 SV2 EV2 WX3 WY0 WR5 WL1 (words), X0 Y1F R10F L3 (relays: word number and\n"
    "hexadecimal bit), T5 C7 (contacts). DT100:8 or DT100*8 is eight elements, DT100@2 is station 2's.\n";

QString textOf(const std::string &argument)
{
    return QString::fromLocal8Bit(argument.c_str());
}

void print(const QString &text)
{
    const QByteArray bytes = text.toLocal8Bit();
    std::fwrite(bytes.constData(), 1, static_cast<std::size_t>(bytes.size()), stdout);
    std::fflush(stdout);
}

void printLine(const QString &line)
{
    print(shown(line) + QLatin1Char('\n'));
}

void addLinkOptions(CLI::App &command, LinkOptions &options)
{
    const auto text = [](QString &target) { return [&target](const std::string &value) { target = textOf(value); }; };
    command
        .add_option_function<std::string>("-p,--plc", text(options.plc), "the PLC; left out: the embedded simulator")
        ->type_name("HOST:PORT");
    command.add_option("-s,--station", options.station, "station of addresses that name none (255: all, to write)")
        ->check(between(0, fphost::kBroadcast))
        ->type_name("N")
        ->capture_default_str();
    command.add_option("--timeout", options.timeoutMs, "longest wait for a reply")
        ->check(between(1, kLongestMs))
        ->type_name("MS")
        ->capture_default_str();
    command.add_option("--connect-timeout", options.connectTimeoutMs, "longest wait for a connection")
        ->check(between(1, kLongestMs))
        ->type_name("MS")
        ->capture_default_str();
    command.add_option("--retries", options.retries, "repeats of a request that got no good reply")
        ->check(between(0, 1000))
        ->type_name("N")
        ->capture_default_str();
    command
        .add_option("--quiet", options.quietMs,
                    "behind a serial converter: keep the connection after a time-out and "
                    "wait until the line was quiet for so long")
        ->check(between(0, kLongestMs))
        ->type_name("MS")
        ->capture_default_str();
    command.add_flag("--remote", options.remote, "send binary records instead of command frames");
    command.add_option_function<std::string>("--library", text(options.library), "path of the driver library")
        ->type_name("FILE");
}

std::optional<Failure> parseAddresses(const std::vector<std::string> &texts, int station,
                                      std::vector<fphost::Span> *spans)
{
    for (const std::string &text : texts) {
        fphost::Span span;
        if (const std::optional<QString> why = parseAddress(textOf(text), station, &span))
            return Failure{ExitCode::Usage, *why};
        spans->push_back(span);
    }
    return std::nullopt;
}

} // namespace fplink
