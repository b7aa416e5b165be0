// fplink read, write and sim as processes: output, exit codes, and the line of every error.

#include "fplink_process.h"

#include <QtCore/QFile>
#include <QtCore/QTemporaryDir>
#include <QtNetwork/QTcpServer>

#include <arpa/inet.h>
#include <sys/socket.h>
#include <unistd.h>

#include <thread>

using plcsim::Area;

namespace
{

/// A server that answers every request with the same bytes, or hangs up when there are none.
class Parrot
{
public:
    explicit Parrot(const std::string &reply) : socket_(socket(AF_INET, SOCK_STREAM, 0))
    {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t size = sizeof(address);
        EXPECT_EQ(bind(socket_, reinterpret_cast<sockaddr *>(&address), size), 0);
        EXPECT_EQ(listen(socket_, 5), 0);
        getsockname(socket_, reinterpret_cast<sockaddr *>(&address), &size);
        port_ = ntohs(address.sin_port);
        thread_ = std::thread([this, reply] { serve(reply); });
    }
    ~Parrot()
    {
        shutdown(socket_, SHUT_RDWR); // ends accept()
        thread_.join();
        close(socket_);
    }
    std::string plc() const { return "127.0.0.1:" + std::to_string(port_); }

private:
    void serve(const std::string &reply)
    {
        for (int peer = 0; (peer = accept(socket_, nullptr, nullptr)) >= 0; close(peer)) {
            char request[256];
            while (recv(peer, request, sizeof(request), 0) > 0 && !reply.empty())
                send(peer, reply.data(), reply.size(), MSG_NOSIGNAL);
        }
    }

    int socket_;
    int port_ = 0;
    std::thread thread_;
};

/// A line of standard error and the exit code: what a failure looks like.
void expectFailure(const Ran &ran, int code, const std::string &line)
{
    EXPECT_EQ(ran.code, code);
    EXPECT_EQ(ran.err, "fplink: " + line + "\n");
}

} // namespace

// read ----------------------------------------------------------------------------------------------------------------

TEST(FplinkRead, PrintsWordsBitsAndContacts)
{
    Plcs plcs;
    plcs.simulator->setWord("01", Area::DT, 100, 5);
    plcs.simulator->setWord("01", Area::DT, 101, 65535);
    plcs.simulator->setBit("01", Area::R, 175, true);
    plcs.simulator->setBit("01", Area::C, 7, true);
    plcs.simulator->setWord("01", Area::X, 3, 0x1234);
    const Ran ran = plcs.run("read DT100:2 r10f C6:2 WX3 EV2");
    EXPECT_EQ(ran.code, 0);
    EXPECT_EQ(ran.err, "");
    EXPECT_EQ(ran.out, "DT100      5  0x0005\n"
                       "DT101  65535  0xFFFF\n"
                       "R10F       1\n"
                       "C6         0\n"
                       "C7         1\n"
                       "WX3     4660  0x1234\n"
                       "EV2        0  0x0000\n");
}

TEST(FplinkRead, PrintsSignedWords)
{
    Plcs plcs;
    plcs.simulator->setWord("01", Area::FL, 12, 65535);
    EXPECT_EQ(plcs.run("read --signed FL12").out, "FL12  -1  0xFFFF\n");
}

TEST(FplinkRead, ReadsSeveralStations)
{
    Plcs plcs;
    plcs.simulator->setWord("01", Area::DT, 5, 11);
    plcs.simulator->setWord("02", Area::DT, 5, 22);
    EXPECT_EQ(plcs.run("read DT5 DT5@2").out, "DT5@1  11  0x000B\n"
                                              "DT5@2  22  0x0016\n");
    EXPECT_EQ(plcs.run("read --station 2 DT5").out, "DT5  22  0x0016\n");
}

TEST(FplinkRead, PrintsJson)
{
    Plcs plcs;
    plcs.simulator->setWord("01", Area::LD, 7, 9);
    EXPECT_EQ(plcs.run("read --json LD7").out,
              "{\"plc\":\"" + plcs.plc() +
                  "\",\"values\":[{\"address\":\"LD7\",\"area\":\"LD\",\"station\":1,\"value\":9}]}\n");
}

TEST(FplinkRead, ReadsMoreThanTheDriverQueuesAtOnce)
{
    Plcs plcs;
    plcs.simulator->setWord("01", Area::DT, 17999, 7);
    const Ran ran = plcs.run("read DT0:18000");
    EXPECT_EQ(ran.code, 0);
    EXPECT_NE(ran.out.find("DT17999  7  0x0007\n"), std::string::npos);
    EXPECT_EQ(std::count(ran.out.begin(), ran.out.end(), '\n'), 18000);
}

TEST(FplinkRead, SpeaksBinaryRecords)
{
    Plcs plcs;
    plcs.simulator->setWord("01", Area::DT, 5, 77);
    const Ran ran = fplink(words("read DT5 --remote --plc " + plcs.remote()));
    EXPECT_EQ(ran.out, "DT5  77  0x004D\n");
    EXPECT_EQ(ran.code, 0);
}

TEST(FplinkRead, WithoutAPlcReadsTheEmbeddedSimulatorAndSaysSo)
{
    const Ran ran = fplink(words("read DT500 SV7@2"));
    EXPECT_EQ(ran.code, 0);
    EXPECT_EQ(ran.out.find("from the embedded simulator at 127.0.0.1:"), 0u) << ran.out;
    EXPECT_NE(ran.out.find("\nDT500@1  0  0x0000\nSV7@2    0  0x0000\n"), std::string::npos) << ran.out;
}

TEST(FplinkRead, ShowsWhatItReadBeforeAFailureButNoHalfJson)
{
    Plcs plcs;
    const Ran text = plcs.run("read DT5 DT99999");
    EXPECT_EQ(text.code, 4);
    EXPECT_EQ(text.out, "DT5  0  0x0000\n");
    const Ran json = plcs.run("read --json DT5 DT99999");
    EXPECT_EQ(json.code, 4);
    EXPECT_EQ(json.out, "");
}

// write ---------------------------------------------------------------------------------------------------------------

TEST(FplinkWrite, WritesWordsAndBits)
{
    Plcs plcs;
    const Ran ran = plcs.run("write DT100=5,-1,0x1F R10F=1 EV2=7");
    EXPECT_EQ(ran.code, 0);
    EXPECT_EQ(ran.err, "");
    EXPECT_EQ(ran.out, "DT100:3 = 5 -1 0x1F  written\n"
                       "R10F = 1  written\n"
                       "EV2 = 7  written\n");
    EXPECT_EQ(plcs.simulator->word("01", Area::DT, 100), 5);
    EXPECT_EQ(plcs.simulator->word("01", Area::DT, 101), 65535);
    EXPECT_EQ(plcs.simulator->word("01", Area::DT, 102), 31);
    EXPECT_EQ(plcs.simulator->bit("01", Area::R, 175), true);
    EXPECT_EQ(plcs.simulator->word("01", Area::EV, 2), 7);
}

TEST(FplinkWrite, TakesAnAddressAndItsValues)
{
    Plcs plcs;
    EXPECT_EQ(plcs.run("write DT100 1 -2 3").out, "DT100:3 = 1 -2 3  written\n");
    EXPECT_EQ(plcs.simulator->word("01", Area::DT, 101), 65534);
}

TEST(FplinkWrite, WritesOneStationOrAll)
{
    Plcs plcs;
    EXPECT_EQ(plcs.run("write DT5@2=7").out, "DT5 = 7  written\n");
    EXPECT_EQ(plcs.simulator->word("01", Area::DT, 5), 0);
    EXPECT_EQ(plcs.simulator->word("02", Area::DT, 5), 7);
    EXPECT_EQ(plcs.run("write --station 255 DT6=8 R0=1").out, "DT6 = 8  sent to all stations\n"
                                                              "R0 = 1  sent to all stations\n");
    // Nobody answers, so that they have arrived may show a moment later.
    for (int i = 0; i < 1000 && plcs.simulator->bit("03", Area::R, 0) != true; ++i)
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    EXPECT_EQ(plcs.simulator->word("03", Area::DT, 6), 8);
    EXPECT_EQ(plcs.simulator->bit("03", Area::R, 0), true);
    EXPECT_EQ(plcs.simulator->counters().broadcasts, 2u) << "each was sent once";
}

TEST(FplinkWrite, SpeaksBinaryRecords)
{
    Plcs plcs;
    EXPECT_EQ(fplink(words("write DT5=77,78 --remote --plc " + plcs.remote())).code, 0);
    EXPECT_EQ(plcs.simulator->word("01", Area::DT, 6), 78);
}

TEST(FplinkWrite, WithoutAPlcWritesToTheEmbeddedSimulatorAndSaysSo)
{
    const Ran ran = fplink(words("write DT500=1"));
    EXPECT_EQ(ran.code, 0);
    EXPECT_EQ(ran.out.find("to the embedded simulator at 127.0.0.1:"), 0u) << ran.out;
}

// Errors --------------------------------------------------------------------------------------------------------------

TEST(FplinkErrors, BadUsageIsTwo)
{
    const struct {
        const char *line;
        const char *error;
    } kCases[] = {
        {"", "a command is missing; commands are read write watch sim, and --help tells more"},
        {"fetch", "fetch: no such command; commands are read write watch sim"},
        {"--bogus", "A subcommand is required"},
        {"read", "address is required"},
        {"read --bogus DT5", "The following argument was not expected: --bogus"},
        {"read Q5", "Q5: there is no area 'Q'; areas are X Y R L T C WX WY WR WL DT LD FL SV EV"},
        {"read R10G", "R10G: the last character must be the bit, 0 to F"},
        {"read DT99999:2", "DT99999:2: DT ends at DT99999"},
        {"read DT5@255 --plc 127.0.0.1:9", "DT5: station 255 cannot be read; stations are 0 to 254"},
        {"read DT5@15 --plc 127.0.0.1:9",
         "DT5: station 15 cannot be addressed, since its frames read like those to all stations"},
        {"read --station 300 DT5", "--station: Value 300 not in range 0 to 255"},
        {"read --timeout 0 DT5", "--timeout: Value 0 not in range 1 to 3600000"},
        {"read --plc 127.0.0.1 DT5", "127.0.0.1: the port is missing; write HOST:PORT"},
        {"write DT5", "DT5: a value is missing"},
        {"write DT5=", "DT5: '' is no value for a word; words are -32768 to 65535 or 0x0 to 0xFFFF"},
        {"write DT5=70000", "DT5: '70000' is no value for a word; words are -32768 to 65535 or 0x0 to 0xFFFF"},
        {"write R5=2", "R5: '2' is no value for a bit; bits are 0 and 1"},
        {"write DT5:3=1,2", "DT5: 2 values for 3 elements"},
        {"write DT5=1 DT6", "DT6: write ADDRESS=VALUE[,VALUE...]"},
        {"write X0=1", "X0: the area X is read-only"},
        {"write T5=1", "T5: the area T is read-only"},
        {"write C7=1", "C7: the area C is read-only"},
        {"write WX3=1", "WX3: the area WX is read-only"},
        {"write R10000=1",
         "R10000: 1 element from there on do not end inside the area, R999F is the last that can be written"},
        {"watch --plc 127.0.0.1:9", "say which addresses of 127.0.0.1:9 to watch"},
        {"watch DT0:20000", "more than 10000 elements cannot be watched"},
        {"sim --bind nowhere", "nowhere: not an IP address"},
        {"sim --station 1,1", "station 1: station '01' is there already"},
        {"sim --move DT5=jump", "DT5: 'jump' is no shape; shapes are ramp, sine, random, counter and toggle"},
    };
    for (const auto &one : kCases) {
        SCOPED_TRACE(one.line);
        const Ran ran = fplink(words(one.line));
        expectFailure(ran, 2, one.error);
        EXPECT_EQ(ran.out, "");
    }
}

TEST(FplinkErrors, WhatIsQuotedCannotEndTheLineOrReachTheTerminal)
{
    const struct {
        QStringList arguments;
        int code;
        const char *error;
    } kCases[] = {
        {{"fe\ntch"}, 2, "fe\\ntch: no such command; commands are read write watch sim"},
        {{"read", "DT5\x1b[2J"}, 2, "DT5\\x1B[2J: '5\\x1B[2J' is not a decimal number"},
        {{"read", "--bo\ngus", "DT5"}, 2, "The following argument was not expected: --bo\\ngus"},
        {{"read", "--timeout", "5\n6", "DT5"}, 2, "--timeout: Value 5\\n6 not in range 1 to 3600000"},
        {{"read", "--plc", "h\no:1", "DT5"}, 3, "cannot connect to h\\no:1: Name or service not known"},
        {{"read", "--library", "/no\nwhere", "DT5"},
         7,
         "cannot load the driver library /no\\nwhere: there is no such file"},
        {{"watch", "--plc", "\r1:2"}, 2, "say which addresses of \\r1:2 to watch"},
        {{"sim", "--bind", "\x07"}, 2, "\\x07: not an IP address"},
        {{"sim", "--move", "DT5=ju\nmp"},
         2,
         "DT5: 'ju\\nmp' is no shape; shapes are ramp, sine, random, counter and toggle"},
        {{"sim", "--load", "/no\nwhere"}, 8, "cannot read /no\\nwhere: No such file or directory"},
    };
    for (const auto &one : kCases) {
        SCOPED_TRACE(one.error);
        const Ran ran = fplink(one.arguments);
        expectFailure(ran, one.code, one.error);
        EXPECT_EQ(ran.out, "");
    }
}

TEST(FplinkErrors, WhatAMemoryFileSaysCannotReachTheTerminal)
{
    const QTemporaryDir folder;
    QFile file(folder.filePath(QStringLiteral("memory.json")));
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    file.write("{\"format\":\"plc-memory\",\"version\":1,\"\\u001b[2J\\n\":1}");
    file.close();
    expectFailure(fplink({"sim", "--load", file.fileName()}), 8,
                  file.fileName().toStdString() + ": the file has an unknown entry '\\x1B[2J\\n'");
}

TEST(FplinkErrors, APlcThatCannotBeReachedIsThree)
{
    std::string gone;
    {
        Plcs plcs;
        gone = plcs.plc();
    }
    const std::string line = "cannot connect to " + gone + ": Connection refused";
    expectFailure(fplink(words("read DT5 --plc " + gone)), 3, line);
    expectFailure(fplink(words("write DT5=1 --plc " + gone)), 3, line);
    expectFailure(fplink(words("watch DT5 --plc " + gone)), 3, line);
}

TEST(FplinkErrors, APlcThatHangsUpIsThree)
{
    Parrot rude("");
    expectFailure(fplink(words("read DT5 --retries 0 --plc " + rude.plc())), 3, "DT5: the connection was lost");
}

TEST(FplinkErrors, ARefusalIsFourAndNamesTheCode)
{
    Plcs plcs;
    expectFailure(plcs.run("read DT99999"), 4,
                  "DT99999: refused by the PLC: 61 data error (a bad number, or a number outside the area)");
    expectFailure(plcs.run("write DT99999=1"), 4,
                  "DT99999: refused by the PLC: 45 operation error (a write outside the data area)");
    plcsim::StationSettings settings = *plcs.simulator->settings("01");
    settings.writeProtected.push_back({Area::DT, 120, 120});
    plcs.simulator->setSettings("01", settings);
    expectFailure(plcs.run("write DT120=1"), 4,
                  "DT120: refused by the PLC: 65 protect error (the area is write-protected)");
    expectFailure(plcs.run("watch DT99999 --seconds 0.5"), 4,
                  "DT99999: refused by the PLC: 61 data error (a bad number, or a number outside the area)");
}

TEST(FplinkErrors, ARefusedPartOfALongWriteSaysHowFarItCame)
{
    Plcs plcs;
    plcsim::StationSettings settings = *plcs.simulator->settings("01");
    settings.writeProtected.push_back({Area::R, 2, 2});
    plcs.simulator->setSettings("01", settings);
    expectFailure(plcs.run("write R1F=1,1"), 4,
                  "R1F:2: refused by the PLC: 65 protect error (the area is write-protected) (1 of 2 write requests "
                  "were done)");
}

TEST(FplinkErrors, SilenceIsFive)
{
    Plcs plcs;
    const std::string end = " within 30 ms, asked 3 times";
    expectFailure(plcs.run("read DT5@9 --timeout 30"), 5, "DT5: no reply from station 9 at " + plcs.plc() + end);
    expectFailure(plcs.run("write DT5@9=1 --timeout 30"), 5, "DT5: no reply from station 9 at " + plcs.plc() + end);
    expectFailure(plcs.run("watch DT5@9 --timeout 30 --seconds 1"), 5,
                  "DT5: no reply from station 9 at " + plcs.plc() + end);
    expectFailure(plcs.run("read DT5@9 --timeout 30 --retries 0"), 5,
                  "DT5: no reply from station 9 at " + plcs.plc() + " within 30 ms, asked once");
}

TEST(FplinkErrors, RepliesThatCannotBeUnderstoodAreSix)
{
    Parrot garbler("%01$RD050000\r"); // the check code is wrong
    expectFailure(fplink(words("read DT5 --plc " + garbler.plc())), 6,
                  "DT5: the replies of station 1 at " + garbler.plc() + " could not be understood");
}

TEST(FplinkErrors, ADriverLibraryThatCannotBeLoadedIsSeven)
{
    expectFailure(fplink(words("read DT5 --library /nowhere/libdriver.so")), 7,
                  "cannot load the driver library /nowhere/libdriver.so: there is no such file");
    expectFailure(fplink(words("read DT5 --library " INCOMPLETE_LIBRARY)), 7,
                  INCOMPLETE_LIBRARY " is not the driver library: it lacks ReCreatReadVarList");
    EXPECT_EQ(fplink(words("read DT5 --library " DRIVER_LIBRARY)).code, 0);
}

TEST(FplinkErrors, ASimulatorThatCannotStartIsEight)
{
    Plcs plcs;
    const Ran taken = fplink(words("sim --port " + std::to_string(plcs.server.port())));
    EXPECT_EQ(taken.code, 8);
    EXPECT_EQ(taken.err.find("fplink: "), 0u);
    EXPECT_NE(taken.err.find(std::to_string(plcs.server.port())), std::string::npos) << taken.err;
    EXPECT_EQ(std::count(taken.err.begin(), taken.err.end(), '\n'), 1);
    const Ran missing = fplink(words("sim --port 0 --remote-port 0 --load /nowhere/memory.txt"));
    EXPECT_EQ(missing.code, 8);
    EXPECT_NE(missing.err.find("/nowhere/memory.txt"), std::string::npos) << missing.err;
}

TEST(FplinkErrors, OutputThatCannotBeWrittenIsOne)
{
    QProcess process;
    process.setStandardOutputFile(QStringLiteral("/dev/full"));
    process.start(QStringLiteral(FPLINK_PROGRAM), words("read DT5"));
    expectFailure(finish(process), 1, "standard output cannot be written");
}

TEST(FplinkHelp, ShowsEveryCommandAndExitCode)
{
    const Ran ran = fplink(words("--help"));
    EXPECT_EQ(ran.code, 0);
    EXPECT_EQ(ran.err, "");
    for (const char *text : {"\n  read ", "\n  write ", "\n  watch ", "\n  sim ", "\n  0  ", "\n  3  ", "\n  8  "})
        EXPECT_NE(ran.out.find(text), std::string::npos) << text;
    for (const char *command : {"read", "write", "watch", "sim"}) {
        const Ran help = fplink({QString::fromLatin1(command), QStringLiteral("--help")});
        EXPECT_EQ(help.code, 0);
        EXPECT_NE(help.out.find("Exit codes"), std::string::npos) << command;
    }
    EXPECT_EQ(fplink(words("--version")).out.find("fplink "), 0u);
}

// sim -----------------------------------------------------------------------------------------------------------------

namespace
{

/// fplink sim on free ports; its first line names them.
class Sim
{
public:
    explicit Sim(const std::string &options)
    {
        process_.start(QStringLiteral(FPLINK_PROGRAM), words("sim --port 0 --remote-port 0 " + options));
        for (int i = 0; i < 100 && !process_.canReadLine() && process_.state() != QProcess::NotRunning; ++i)
            process_.waitForReadyRead(kLongMs / 100);
        firstLine = process_.readLine().toStdString();
    }
    std::string firstLine;
    /// The endpoint behind \a words in the first line.
    std::string endpoint(const std::string &before) const
    {
        const std::size_t from = firstLine.find(before) + before.size();
        return firstLine.substr(from, firstLine.find(',', from) - from);
    }
    Ran end()
    {
        process_.terminate();
        return finish(process_);
    }

private:
    QProcess process_;
};

} // namespace

TEST(FplinkSim, ServesFramesAndRecordsUntilItIsTerminated)
{
    Sim sim("--station 1,2");
    EXPECT_NE(sim.firstLine.find(", stations 1 2; Ctrl-C ends\n"), std::string::npos) << sim.firstLine;
    const std::string plc = sim.endpoint("command frames on ");
    EXPECT_EQ(fplink(words("write DT5@2=7 --plc " + plc)).code, 0);
    EXPECT_EQ(fplink(words("read DT5@2 --plc " + plc)).out, "DT5  7  0x0007\n");
    EXPECT_EQ(fplink(words("read DT5@2 --remote --plc " + sim.endpoint("binary records on "))).out, "DT5  7  0x0007\n");
    EXPECT_EQ(fplink(words("read DT5@3 --timeout 30 --retries 0 --plc " + plc)).code, 5);
    const Ran ran = sim.end();
    EXPECT_EQ(ran.code, 0);
    EXPECT_EQ(ran.err, "");
    EXPECT_EQ(ran.out, "4 requests: 3 answered, 0 refused, 0 for all stations, 1 for nobody\n");
}

TEST(FplinkSim, KeepsItsMemoryInAFile)
{
    const QTemporaryDir folder;
    const std::string file = folder.filePath(QStringLiteral("memory.txt")).toStdString();
    {
        Sim sim("--save " + file);
        EXPECT_EQ(fplink(words("write FL12=4660 --plc " + sim.endpoint("command frames on "))).code, 0);
        const Ran ran = sim.end();
        EXPECT_EQ(ran.code, 0);
        EXPECT_NE(ran.out.find("memory saved to " + file + "\n"), std::string::npos) << ran.out;
    }
    Sim sim("--load " + file);
    EXPECT_EQ(fplink(words("read FL12 --plc " + sim.endpoint("command frames on "))).out, "FL12  4660  0x1234\n");
    EXPECT_EQ(sim.end().code, 0);
}

TEST(FplinkSim, MovesValues)
{
    Sim sim("--moving --move DT700=counter,low=5,high=6,period=1000000 --move R50=toggle,period=10");
    const std::string plc = sim.endpoint("command frames on ");
    EXPECT_EQ(fplink(words("read DT700 --plc " + plc)).out, "DT700  5  0x0005\n") << "the movement's first value";
    const std::string before = fplink(words("read DT2 DT3 R50 --plc " + plc)).out;
    std::string after = before;
    for (int i = 0; i < 100 && after == before; ++i)
        after = fplink(words("read DT2 DT3 R50 --plc " + plc)).out;
    EXPECT_NE(after, before);
    EXPECT_EQ(sim.end().code, 0);
}

TEST(FplinkSim, AMemoryFileThatCannotBeWrittenIsEight)
{
    Sim sim("--save /nowhere/memory.txt");
    const Ran ran = sim.end();
    EXPECT_EQ(ran.code, 8);
    EXPECT_NE(ran.err.find("/nowhere/memory.txt"), std::string::npos) << ran.err;
}
