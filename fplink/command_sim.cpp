// command_sim.cpp - fplink sim: serves simulated PLCs until interrupted.

#include "commands.h"

#include "interrupt.h"
#include "movement_text.h"
#include "shown_text.h"

#include <stdexcept>

namespace fplink
{

namespace
{

constexpr int kUsualPort = 9094;
constexpr int kHighestPort = 65535;
constexpr int kLookMs = 1000;

struct SimOptions {
    std::string bind = "127.0.0.1";
    int port = kUsualPort;
    int remotePort = kUsualPort + 1;
    std::vector<int> stations = {1};
    std::vector<std::string> movements;
    bool moving = false;
    std::string load;
    std::string save;
};

Failure simulatorFailure(const QString &text)
{
    return {ExitCode::Simulator, text};
}

std::optional<Failure> addStations(const SimOptions &options, plcsim::Simulator &simulator)
{
    for (const int station : options.stations) {
        try {
            simulator.addStation(plcsim::destinationOf(station), station);
        } catch (const std::invalid_argument &error) {
            return Failure{ExitCode::Usage,
                           QStringLiteral("station %1: %2").arg(station).arg(QLatin1String(error.what()))};
        }
        if (options.moving)
            addMovingValues(simulator, station);
    }
    if (!options.load.empty()) {
        if (const std::optional<QString> why = simulator.load(textOf(options.load)))
            return simulatorFailure(*why);
    }
    return std::nullopt;
}

std::optional<Failure> addMovements(const SimOptions &options, plcsim::Simulator &simulator)
{
    for (const std::string &text : options.movements) {
        StationMovement moving;
        if (const std::optional<QString> why = parseMovement(textOf(text), options.stations.front(), &moving))
            return Failure{ExitCode::Usage, *why};
        try {
            simulator.addMovement(plcsim::destinationOf(moving.station), moving.movement);
        } catch (const std::invalid_argument &error) {
            return Failure{ExitCode::Usage,
                           QStringLiteral("%1: %2").arg(quoted(textOf(text)), QLatin1String(error.what()))};
        }
    }
    return std::nullopt;
}

std::optional<Failure> runSim(const SimOptions &options)
{
    const auto simulator = std::make_shared<plcsim::Simulator>();
    if (std::optional<Failure> failure = addStations(options, *simulator))
        return failure;
    if (std::optional<Failure> failure = addMovements(options, *simulator))
        return failure;
    QHostAddress address;
    if (!address.setAddress(textOf(options.bind)))
        return Failure{ExitCode::Usage, QStringLiteral("%1: not an IP address").arg(quoted(textOf(options.bind)))};
    plcsim::Server server(simulator);
    catchInterrupts();
    if (const std::optional<QString> why =
            server.listen(address, static_cast<quint16>(options.port), static_cast<quint16>(options.remotePort)))
        return simulatorFailure(*why);

    QStringList stations;
    for (const plcsim::Simulator::StationName &station : simulator->stations())
        stations.append(QString::number(station.number));
    printLine(QStringLiteral("command frames on %1, binary records on %2, stations %3; Ctrl-C ends")
                  .arg(endpointText({textOf(options.bind), server.port()}),
                       endpointText({textOf(options.bind), server.remotePort()}), stations.join(QLatin1Char(' '))));
    while (!interrupted())
        waitOrInterrupt(kLookMs);

    server.close();
    const plcsim::Simulator::Counters counters = simulator->counters();
    printLine(QStringLiteral("%1 requests: %2 answered, %3 refused, %4 for all stations, %5 for nobody")
                  .arg(counters.requests)
                  .arg(counters.replies)
                  .arg(counters.errors)
                  .arg(counters.broadcasts)
                  .arg(counters.unanswered));
    if (options.save.empty())
        return std::nullopt;
    if (const std::optional<QString> why = simulator->save(textOf(options.save)))
        return simulatorFailure(*why);
    printLine(QStringLiteral("memory saved to %1").arg(textOf(options.save)));
    return std::nullopt;
}

} // namespace

RunCommand addSimCommand(CLI::App &command)
{
    const auto options = std::make_shared<SimOptions>();
    command.add_option("--bind", options->bind, "address to listen on")->type_name("ADDRESS")->capture_default_str();
    command.add_option("--port", options->port, "for command frames; 0 takes a free one")
        ->check(between(0, kHighestPort))
        ->type_name("N")
        ->capture_default_str();
    command.add_option("--remote-port", options->remotePort, "for binary records; 0 takes a free one")
        ->check(between(0, kHighestPort))
        ->type_name("N")
        ->capture_default_str();
    command.add_option("-s,--station", options->stations, "station numbers, 0 to 254: 1,2,5")
        ->check(between(0, fphost::kBroadcast - 1))
        ->type_name("N")
        ->delimiter(',')
        ->capture_default_str();
    command.add_flag("--moving", options->moving, "move values of every memory area, as the embedded simulator does");
    command
        .add_option("--move", options->movements,
                    "a moving value: DT100=ramp,low=0,high=1000,period=5000; shapes are ramp, sine, random, counter, "
                    "and toggle for bits; may be given again")
        ->type_name("MOVEMENT")
        ->allow_extra_args(false);
    command.add_option("--load", options->load, "memory file to begin with")->type_name("FILE");
    command.add_option("--save", options->save, "memory file to write at the end")->type_name("FILE");
    command.footer(exitCodeHelp());
    return [options] { return runSim(*options); };
}

} // namespace fplink
