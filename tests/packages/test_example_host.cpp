// test_example_host.cpp - the example host, built from an installed package, against simulated PLCs behind a real port.
//
//  - The environment variable EXAMPLE_HOST names the program; it is not linked with anything of ours here.

#include "plcsim/server.h"

#include <gtest/gtest.h>

#include <QtCore/QProcess>
#include <QtCore/QString>

#include <memory>

namespace
{

struct Ended {
    int code;
    QByteArray output;
};

Ended runExample(quint16 port)
{
    QProcess example;
    example.start(qEnvironmentVariable("EXAMPLE_HOST"), {"127.0.0.1", QString::number(port)});
    const bool ended = example.waitForFinished(30000) && example.exitStatus() == QProcess::NormalExit;
    return {ended ? example.exitCode() : -1, example.readAllStandardOutput()};
}

class ExampleHost : public testing::Test
{
protected:
    void serve(const QByteArray &destination, const plcsim::StationSettings &settings = {})
    {
        plcs->addStation(destination, 1, settings);
        const auto problem = server.listen(QHostAddress::LocalHost, 0, 0);
        ASSERT_FALSE(problem.has_value()) << problem->toStdString();
    }

    std::shared_ptr<plcsim::Simulator> plcs = std::make_shared<plcsim::Simulator>();
    plcsim::Server server{plcs};
};

} // namespace

TEST_F(ExampleHost, ReadsOnePollingCycleAndWritesOneWord)
{
    serve("01");
    plcs->setWord("01", plcsim::Area::DT, 0, 0x1234);
    plcs->setWord("01", plcsim::Area::DT, 1, 5);
    plcs->setWord("01", plcsim::Area::DT, 3, 0xABCD);
    plcs->setBit("01", plcsim::Area::R, 10 * 16 + 15, true);
    plcs->setBit("01", plcsim::Area::T, 5, true);

    const Ended ended = runExample(server.port());

    EXPECT_EQ(ended.code, 0);
    QByteArray output = ended.output;
    // The digit behind %01$MG counts the PLC's scans, so it and the check code are not the same in every run.
    const int monitor = output.indexOf("    %01$MG");
    ASSERT_GE(monitor, 0) << output.constData();
    EXPECT_EQ(output.mid(monitor + 11, 24), "0020341205000000CDAB0080") << output.constData();
    EXPECT_TRUE(output.startsWith("%01#MDFFFFFF**\n"
                                  "    %01$MD09\n"
                                  "%01#MDD00000D00001D00002D00003WR00010**\n"
                                  "    %01$MD09\n"
                                  "%01#MG**\n"))
        << output.constData();
    EXPECT_TRUE(output.endsWith("%01#RCCT00000000**\n"
                                "    %01$RC200013\n"
                                "DT0 to DT3: 34 12 05 00 00 00 cd ab\n"
                                "R10F: 01\n"
                                "T5: 01\n"
                                "%01#WDD0002000020341254\n"
                                "    %01$WD13\n"))
        << output.constData();
    EXPECT_EQ(plcs->word("01", plcsim::Area::DT, 20), 0x1234);
}

TEST_F(ExampleHost, EndsWithExitCode1WhenThePlcRefusesTheWrite)
{
    plcsim::StationSettings settings;
    settings.writeProtected.push_back({plcsim::Area::DT, 20, 20});
    serve("01", settings);

    const Ended ended = runExample(server.port());

    EXPECT_EQ(ended.code, 1);
    EXPECT_TRUE(ended.output.endsWith("    %01!6506\n")) << ended.output.constData();
    EXPECT_EQ(plcs->word("01", plcsim::Area::DT, 20), 0);
}

TEST_F(ExampleHost, EndsWithExitCode1WhenThePlcSaysNothing)
{
    serve("02");

    const Ended ended = runExample(server.port());

    EXPECT_EQ(ended.code, 1);
    EXPECT_EQ(ended.output, "%01#MDFFFFFF**\n    \n");
}

TEST_F(ExampleHost, EndsWithExitCode2WhenNobodyListens)
{
    serve("01");
    const quint16 port = server.port();
    server.close();

    EXPECT_EQ(runExample(port).code, 2);
}
