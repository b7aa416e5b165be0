// embedded_plc.h - the simulated PLCs that a command talks to when no PLC is named.
//
//  - Real TCP on a free loopback port; values of every memory area move.

#pragma once

#include "plcsim/server.h"

#include "exit_code.h"

#include <memory>
#include <optional>
#include <set>

namespace fplink
{

class EmbeddedPlc
{
public:
    EmbeddedPlc();

    /// Adds the stations, with the same moving values in each, and listens.
    std::optional<Failure> start(const std::set<int> &stations);

    quint16 port() const { return server_.port(); }
    quint16 remotePort() const { return server_.remotePort(); }
    plcsim::Simulator &simulator() { return *simulator_; }

private:
    std::shared_ptr<plcsim::Simulator> simulator_;
    plcsim::Server server_;
};

/// Adds moving values of every memory area to a station: X0, Y10, R20, L30, T5 and C7 toggle; WX1, WY2, WR3, WL4, DT0
/// to DT3, LD0, FL0, SV0 and EV0 move in various ways.
void addMovingValues(plcsim::Simulator &simulator, int station);

} // namespace fplink
