// fplink watch as a process: on a pipe, on a terminal, the demonstration, and its ends.

#include "fplink_process.h"

#include <poll.h>
#include <pty.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <vector>

using plcsim::Area;

namespace
{

bool has(const std::string &text, const std::string &part)
{
    return text.find(part) != std::string::npos;
}

/// fplink on a terminal of its own.
class OnTerminal
{
public:
    explicit OnTerminal(const std::string &line)
    {
        std::vector<QByteArray> arguments = {FPLINK_PROGRAM};
        for (const QString &word : words(line))
            arguments.push_back(word.toLocal8Bit());
        std::vector<char *> argv;
        for (QByteArray &argument : arguments)
            argv.push_back(argument.data());
        argv.push_back(nullptr);
        winsize size = {40, 100, 0, 0};
        pid_ = forkpty(&terminal_, nullptr, nullptr, &size);
        if (pid_ == 0) {
            execv(argv[0], argv.data());
            _exit(127);
        }
    }
    ~OnTerminal() { close(terminal_); }

    /// Reads until \a part has come; false when the program ends, or takes too long, without it.
    bool shows(const std::string &part)
    {
        for (int i = 0; i < 300 && !has(screen, part); ++i) {
            pollfd wait = {terminal_, POLLIN, 0};
            if (poll(&wait, 1, kLongMs / 300) <= 0)
                continue;
            char bytes[4096];
            const ssize_t came = read(terminal_, bytes, sizeof(bytes));
            if (came <= 0)
                break;
            screen.append(bytes, static_cast<std::size_t>(came));
        }
        return has(screen, part);
    }

    void type(const std::string &keys)
    {
        EXPECT_EQ(write(terminal_, keys.data(), keys.size()), static_cast<ssize_t>(keys.size()));
    }

    int exitCode()
    {
        shows("nothing prints this, so everything is read to the end");
        int status = 0;
        waitpid(pid_, &status, 0);
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }

    std::string screen;

private:
    int terminal_ = -1;
    pid_t pid_ = -1;
};

} // namespace

TEST(FplinkWatch, PrintsChangesAndEndsWithASummary)
{
    Plcs plcs;
    plcsim::Movement counter;
    counter.shape = plcsim::Movement::Shape::Counter;
    counter.number = 5;
    counter.periodMs = 50;
    plcs.simulator->addMovement("01", counter);
    plcs.simulator->setWord("01", Area::DT, 6, 1234);
    plcs.server.setTickMs(10);
    const Ran ran = plcs.run("watch DT5:2 R10F --seconds 1.2 --every 20");
    EXPECT_EQ(ran.code, 0);
    EXPECT_EQ(ran.err, "");
    EXPECT_EQ(ran.out.find(plcs.plc() + ": 3 elements, "), 0u) << ran.out;
    EXPECT_TRUE(has(ran.out, "DT6              =  1234  0x04D2\n")) << ran.out;
    EXPECT_TRUE(has(ran.out, "R10F             =     0  \n")) << ran.out;
    EXPECT_TRUE(has(ran.out, "DT5 ")) << ran.out;
    EXPECT_TRUE(has(ran.out, " -> ")) << ran.out;
    EXPECT_TRUE(has(ran.out, " exchanges, 0 failed, ")) << ran.out;
    EXPECT_TRUE(has(ran.out, "  DT  2 elements, changed ")) << ran.out;
    EXPECT_TRUE(has(ran.out, "  R   1 element, unchanged\n")) << ran.out;
}

TEST(FplinkWatch, TheDemonstrationShowsEveryAreaChangingAndWritesArriving)
{
    const Ran ran = fplink(words("watch --seconds 3.5"));
    EXPECT_EQ(ran.code, 0) << ran.err;
    EXPECT_EQ(ran.err, "");
    EXPECT_EQ(ran.out.find("the embedded simulator at 127.0.0.1:"), 0u);
    const std::string summary = ran.out.substr(ran.out.find("\nSummary: "));
    EXPECT_TRUE(has(summary, " exchanges, 0 failed, ")) << summary;
    for (const char *area :
         {"X ", "Y ", "R ", "L ", "T ", "C ", "WX", "WY", "WR", "WL", "DT", "LD", "FL", "SV", "EV"}) {
        const std::size_t line = summary.find(std::string("\n  ") + area + "  ");
        ASSERT_NE(line, std::string::npos) << area;
        EXPECT_TRUE(has(summary.substr(line, summary.find('\n', line + 1) - line), "changed ")) << area;
    }
    for (const char *target : {"DT500:40", "Y500 ", "R50F:3", "L508 ", "WY60 ", "WR61:20", "WL62:2", "LD500:3",
                               "FL500:17", "SV50 ", "EV50:2"}) {
        const std::size_t line = summary.find(std::string("\n  ") + target);
        ASSERT_NE(line, std::string::npos) << target;
        EXPECT_TRUE(has(summary.substr(line, summary.find('\n', line + 1) - line), " arrived")) << target;
    }
}

TEST(FplinkWatch, EndsCleanlyWhenItIsTerminatedOrInterrupted)
{
    for (const int signal : {SIGTERM, SIGINT}) {
        Plcs plcs;
        QProcess process;
        process.start(QStringLiteral(FPLINK_PROGRAM), words("watch DT5 --seconds 600 --plc " + plcs.plc()));
        std::string out;
        while (!has(out, "DT5 ") && process.waitForReadyRead(kLongMs))
            out += process.readAllStandardOutput().toStdString();
        kill(static_cast<pid_t>(process.processId()), signal);
        const Ran ran = finish(process);
        EXPECT_EQ(ran.code, 0);
        EXPECT_TRUE(has(ran.out, "\nSummary: ")) << ran.out;
    }
}

TEST(FplinkWatch, ShowsWhatCannotBeReadBesideWhatCan)
{
    Plcs plcs;
    const Ran ran = plcs.run("watch DT5 DT90000 --seconds 1");
    EXPECT_EQ(ran.code, 0) << ran.err;
    EXPECT_TRUE(has(ran.out, "  DT  2 elements, unchanged, 1 never read\n")) << ran.out;
}

TEST(FplinkWatch, WatchesSeveralStationsOneOfThemSilent)
{
    Plcs plcs;
    plcs.simulator->setWord("02", Area::DT, 5, 22);
    const Ran ran = plcs.run("watch DT5 DT5@2 DT5@9 --seconds 6 --timeout 200 --every 10");
    EXPECT_EQ(ran.code, 0) << ran.err;
    EXPECT_TRUE(has(ran.out, "DT5@2            =    22  0x0016\n")) << ran.out;
    EXPECT_TRUE(has(ran.out, "  DT  3 elements, unchanged, 1 never read\n")) << ran.out;
}

TEST(FplinkWatch, OnATerminalDrawsATableUntilCtrlC)
{
    Plcs plcs;
    plcs.simulator->setWord("01", Area::DT, 5, 4321);
    OnTerminal terminal("watch DT5 DT90000 --every 10 --plc " + plcs.plc());
    EXPECT_TRUE(terminal.shows("Ctrl-C ends")) << terminal.screen;
    EXPECT_TRUE(terminal.shows("4321  0x10E1")) << terminal.screen;
    EXPECT_TRUE(terminal.shows("61 data error")) << terminal.screen;
    terminal.type("\x03");
    EXPECT_EQ(terminal.exitCode(), 0);
    EXPECT_TRUE(has(terminal.screen, "Summary: ")) << terminal.screen;
}

TEST(FplinkWatch, OnATerminalTheDemonstrationShowsItsWrites)
{
    OnTerminal terminal("watch");
    EXPECT_TRUE(terminal.shows("write ")) << terminal.screen;
    EXPECT_TRUE(terminal.shows("  arrived")) << terminal.screen;
    terminal.type("\x03");
    EXPECT_EQ(terminal.exitCode(), 0);
    EXPECT_TRUE(has(terminal.screen, "Summary: ")) << terminal.screen;
}

TEST(FplinkWatch, OnATerminalEndsAfterTheSecondsThatWereAskedFor)
{
    Plcs plcs;
    OnTerminal terminal("watch DT5 --seconds 0.4 --plc " + plcs.plc());
    EXPECT_EQ(terminal.exitCode(), 0);
    EXPECT_TRUE(has(terminal.screen, "Summary: ")) << terminal.screen;
}
