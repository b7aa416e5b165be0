// fplink_process.h - fplink as its users meet it: a process with arguments, output, error output and an exit code.

#pragma once

#include "plcsim/server.h"

#include <QtCore/QProcess>
#include <QtCore/QStringList>

#include <gtest/gtest.h>

#include <memory>
#include <string>

constexpr int kLongMs = 30000; // no process of these tests takes so long unless it hangs

struct Ran {
    int code;
    std::string out;
    std::string err;
};

inline Ran finish(QProcess &process)
{
    if (!process.waitForFinished(kLongMs)) {
        process.kill();
        process.waitForFinished(kLongMs);
        ADD_FAILURE() << "fplink did not end";
    }
    EXPECT_EQ(process.exitStatus(), QProcess::NormalExit);
    return {process.exitCode(), process.readAllStandardOutput().toStdString(),
            process.readAllStandardError().toStdString()};
}

inline Ran fplink(const QStringList &arguments)
{
    QProcess process;
    process.start(QStringLiteral(FPLINK_PROGRAM), arguments);
    process.closeWriteChannel();
    return finish(process);
}

/// The words of a command line: "read DT100:2 --json".
inline QStringList words(const std::string &line)
{
    return QString::fromStdString(line).split(QLatin1Char(' '), Qt::SkipEmptyParts);
}

/// Simulated PLCs of stations 1 to 3 behind free ports.
class Plcs
{
public:
    Plcs() : simulator(std::make_shared<plcsim::Simulator>()), server(simulator)
    {
        simulator->addStation("01", 1);
        simulator->addStation("02", 2);
        simulator->addStation("03", 3);
        const std::optional<QString> error = server.listen(QHostAddress::LocalHost, 0, 0);
        EXPECT_FALSE(error.has_value()) << error->toStdString();
    }

    std::string plc() const { return "127.0.0.1:" + std::to_string(server.port()); }
    std::string remote() const { return "127.0.0.1:" + std::to_string(server.remotePort()); }

    /// Runs fplink with "--plc" and this PLC.
    Ran run(const std::string &line) const { return fplink(words(line + " --plc " + plc())); }

    std::shared_ptr<plcsim::Simulator> simulator;
    plcsim::Server server;
};
