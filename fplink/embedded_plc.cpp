// embedded_plc.cpp - see embedded_plc.h.

#include "embedded_plc.h"

#include "movement_text.h"

#include <stdexcept>

namespace fplink
{

namespace
{

// Every area moves several times a second, so that a look of one second sees all of them change.
const char *const kMoving[] = {
    "X0=toggle,period=250",
    "Y10=toggle,period=300",
    "R20=toggle,period=350",
    "L30=toggle,period=400",
    "T5=toggle,period=450",
    "C7=toggle,period=500",
    "WX1=ramp,high=1000,period=10000",
    "WY2=sine,low=100,high=900,period=4000",
    "WR3=counter,period=200",
    "WL4=random,high=999,period=300",
    "DT0=ramp,high=2000,period=20000",
    "DT1=sine,high=65535,period=5000",
    "DT2=random,period=400,seed=7",
    "DT3=counter,period=100",
    "LD0=sine,low=1000,high=2000,period=6000",
    "FL0=random,high=9999,period=350,seed=3",
    "SV0=counter,low=10,high=99,period=250",
    "EV0=ramp,high=500,period=5000",
};

} // namespace

void addMovingValues(plcsim::Simulator &simulator, int station)
{
    for (const char *text : kMoving) {
        StationMovement moving;
        parseMovement(QString::fromLatin1(text), station, &moving);
        simulator.addMovement(plcsim::destinationOf(station), moving.movement);
    }
}

EmbeddedPlc::EmbeddedPlc() : simulator_(std::make_shared<plcsim::Simulator>()), server_(simulator_) {}

std::optional<Failure> EmbeddedPlc::start(const std::set<int> &stations)
{
    try {
        for (const int station : stations) {
            simulator_->addStation(plcsim::destinationOf(station), station);
            addMovingValues(*simulator_, station);
        }
    } catch (const std::invalid_argument &error) {
        return Failure{ExitCode::Usage, QStringLiteral("the embedded simulator: %1").arg(QLatin1String(error.what()))};
    }
    server_.setTickMs(20);
    if (const std::optional<QString> why = server_.listen(QHostAddress::LocalHost, 0, 0))
        return Failure{ExitCode::Simulator, *why};
    return std::nullopt;
}

} // namespace fplink
