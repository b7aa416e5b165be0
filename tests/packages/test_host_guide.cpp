// test_host_guide.cpp - what docs/host-guide.md shows is what the built library does.
//
//  - Every exchange that the guide shows is carried out: the frames, the results and the callbacks have to be the same,
//    and a block without a set-up here, or a set-up without a block, is a failure.
//  - Its tables of offsets are compared with the checked-in layouts.

#include "../library/loaded_driver.h"

#include <fstream>
#include <functional>
#include <map>
#include <sstream>

namespace
{

std::vector<std::string> linesOf(const std::string &path)
{
    std::vector<std::string> lines;
    std::ifstream file(path);
    for (std::string line; std::getline(file, line);)
        lines.push_back(line);
    return lines;
}

const std::string guide = HOST_GUIDE;

/// The lines of each block that the guide marks as an exchange, by the block's name.
std::map<std::string, std::vector<std::string>> exchanges()
{
    std::map<std::string, std::vector<std::string>> blocks;
    std::vector<std::string> *block = nullptr;
    for (const std::string &line : linesOf(guide)) {
        if (line.rfind("```wire ", 0) == 0)
            block = &blocks[line.substr(8)];
        else if (line == "```")
            block = nullptr;
        else if (block)
            block->push_back(line);
    }
    return blocks;
}

class HostGuide : public LoadedLibrary
{
protected:
    HostGuide()
    {
        calls().clear();
        lib.RegistCallBackFuncIntf(&HostGuide::finished, &HostGuide::failed);
    }

    void replay(const std::vector<std::string> &lines)
    {
        for (const std::string &line : lines) {
            SCOPED_TRACE(line);
            if (line.rfind("-> ", 0) == 0) {
                EXPECT_TRUE(calls().empty()) << "a callback that the guide does not show: " << calls().front();
                const std::string shown = line.substr(3);
                const std::string sent = next();
                if (shown == "(none)")
                    EXPECT_EQ("", sent);
                else if (shown.rfind("hex ", 0) == 0)
                    EXPECT_EQ(shown.substr(4), hex(sent));
                else
                    EXPECT_EQ(shown + "\r", sent);
            } else if (line.rfind("<- ", 0) == 0) {
                std::istringstream words(line.substr(3));
                std::string reply, title;
                int code = -1;
                words >> reply >> title >> code;
                EXPECT_EQ("result", title);
                EXPECT_EQ(code, answer(reply == "(nothing)" ? "" : reply + "\r"));
            } else if (line.rfind("! ", 0) == 0 && !calls().empty()) {
                EXPECT_EQ(line.substr(2), calls().front());
                calls().erase(calls().begin());
            } else {
                ADD_FAILURE() << "neither a frame nor an answer nor a callback that came";
            }
        }
        EXPECT_TRUE(calls().empty()) << "a callback that the guide does not show: " << calls().front();
    }

    /// Queues a read for the remote path.
    void readDirectly(int extra1)
    {
        RW_VAR var;
        var.ownerId = 3;
        var.linkNo = 2;
        var.areaKind = KindDT;
        var.address = 100;
        var.station = 1;
        var.count = 2;
        var.extra1 = extra1;
        lib.AddListOnceReadVar(&var, 1);
    }

    static const std::map<std::string, std::function<void(HostGuide &)>> &setUps();

private:
    static std::vector<std::string> &calls()
    {
        static std::vector<std::string> made;
        return made;
    }
    static std::string call(const char *name, const std::vector<int> &arguments)
    {
        std::ostringstream text;
        const char *before = "(";
        text << name;
        for (const int argument : arguments) {
            text << before << argument;
            before = ", ";
        }
        text << ')';
        return text.str();
    }
    static void finished(qint32 hostHandle, qint32 ownerId, qint32 ownerTag, qint32 status)
    {
        calls().push_back(call("readFinish", {hostHandle, ownerId, ownerTag, status}));
    }
    static void failed(QList<RW_VAR> *list, qint32 ownerId, qint32 reason)
    {
        EXPECT_TRUE(list && list->isEmpty());
        calls().push_back(call("commError", {ownerId, reason}));
    }
};

/// What happens before each of the guide's exchanges. The settings are the fixture's: station 1, retryLimit 2,
/// maxWordsPerWrite 16, hostMode 2, hostHandle 77.
const std::map<std::string, std::function<void(HostGuide &)>> &HostGuide::setUps()
{
    typedef HostGuide &H;
    const std::string on(1, '\1');
    static const std::map<std::string, std::function<void(H)>> table = {
        {"late-reply",
         [](H h) {
             h.info.retryLimit = 0;
             h.poll({item(KindDT, "100", 5), item(KindDT, "200", 5)});
         }},
        {"write-refused", [](H h) { h.write(KindDT, "100", "\x34\x12", 1); }},
        {"write-refused-with-flag-0",
         [](H h) {
             RW_VAR var;
             var.ownerId = 1;
             var.areaKind = KindDT;
             var.address = 100;
             var.station = 1;
             var.count = 1;
             var.data = bytes("\x34\x12");
             h.lib.AddListWriteVar(&var, 0);
         }},
        {"read-refused", [](H h) { h.poll({item(KindDT, "100", 5)}); }},
        {"registration-refused",
         [](H h) {
             h.poll({item(KindDT, "5", 1), item(KindWY, "3", 1)});
         }},
        {"abandoned-poll",
         [](H h) {
             h.poll({item(KindDT, "100", 5), item(KindDT, "200", 5)});
         }},
        {"abandoned-read", [](H h) { h.readOnce(KindDT, "0", 40, 3, 4); }},
        {"abandoned-write",
         [](H h) {
             h.write(KindDT, "100", "\x34\x12", 1, 1, 5);
             h.write(KindDT, "200", "\x34\x12", 1, 1, 6);
         }},
        {"stations",
         [](H h) {
             h.info.multiStation = 1;
             h.info.retryLimit = 0;
             for (const int station : {5, 10, 17})
                 h.readOnce(KindDT, "100", 1, station, 0, station);
             h.lib.RegistCallBackFuncIntf([](qint32, qint32, qint32, qint32) {}, &HostGuide::failed);
         }},
        {"poll-data", [](H h) { h.poll({item(KindDT, "100", 16)}); }},
        {"poll-contacts", [](H h) { h.poll({item(KindT, "5", 1)}); }},
        {"poll-set-values", [](H h) { h.poll({item(KindSV, "10", 5)}); }},
        {"poll-monitor",
         [](H h) {
             h.poll({item(KindDT, "5", 1), item(KindWY, "3", 1)});
         }},
        {"read-once", [](H h) { h.readOnce(KindX, "1E", 3, 3, 4); }},
        {"write-words", [](H h) { h.write(KindDT, "100", "\x34\x12\x78\x56", 2); }},
        {"write-bit", [on](H h) { h.write(KindR, "23", on, 1); }},
        {"write-relay-word", [](H h) { h.write(KindWR, "10", "\x34\x12", 1); }},
        {"write-elapsed-value", [](H h) { h.write(KindEV, "5", "\x34\x12", 1); }},
        {"write-in-pieces",
         [](H h) {
             h.info.maxWordsPerWrite = 2;
             h.write(KindDT, "100", std::string("\1\0\2\0\3\0\4\0\5\0", 10), 5);
         }},
        {"turns",
         [on](H h) {
             h.poll({item(KindDT, "100", 5)});
             for (const char *bit : {"0", "1", "2", "3", "4", "5"})
                 h.write(KindR, bit, on, 1);
         }},
        {"broadcast-words",
         [](H h) {
             h.info.defaultStation = 255;
             h.info.retryLimit = 0;
             h.write(KindDT, "100", "\x34\x12", 1);
         }},
        {"broadcast-bit",
         [on](H h) {
             h.info.defaultStation = 255;
             h.info.retryLimit = 0;
             h.write(KindR, "23", on, 1);
         }},
        {"remote-read",
         [](H h) {
             h.info.remoteMode = 1;
             h.info.linkNo = 1;
             h.poll({item(KindDT, "100", 2)});
         }},
        {"remote-write",
         [](H h) {
             h.info.remoteMode = 1;
             h.info.linkNo = 1;
             h.write(KindDT, "100", "\x34\x12", 1);
         }},
        {"remote-path",
         [](H h) {
             h.info.remoteMode = 1;
             h.info.linkNo = 1;
             h.readDirectly(0);
             h.readDirectly(-1);
         }},
    };
    return table;
}

/// The numbers that follow the name in a line such as "| `frameLen` | 4 | 8 | 24 |" or "frameLen 4 4".
std::vector<int> numbersBehind(std::string line, std::string *name)
{
    for (char &c : line)
        c = c == '|' || c == '`' ? ' ' : c;
    std::istringstream words(line);
    std::vector<int> numbers;
    words >> *name;
    for (int number; words >> number;)
        numbers.push_back(number);
    return numbers;
}

/// The rows "field -> numbers" of the guide's table below a record's heading.
std::map<std::string, std::vector<int>> offsetsInGuide(const std::string &record)
{
    std::map<std::string, std::vector<int>> offsets;
    bool here = false;
    for (const std::string &line : linesOf(guide)) {
        std::string field;
        if (line.rfind("### ", 0) == 0)
            here = line == "### " + record;
        const std::vector<int> numbers = numbersBehind(line, &field);
        if (here && line.rfind("| ", 0) == 0 && field != "Field")
            offsets[field] = numbers;
    }
    return offsets;
}

/// All records of the three checked-in layouts in the same form. There a record begins with "NAME size N", and its
/// fields follow indented: name, offset, size.
std::map<std::string, std::map<std::string, std::vector<int>>> offsetsInLayouts()
{
    std::map<std::string, std::map<std::string, std::vector<int>>> records;
    for (const char *name : {"32bit.txt", "64bit.txt", "64bit-qt6.txt"}) {
        std::string record;
        for (const std::string &line : linesOf(std::string(LAYOUTS) + "/" + name)) {
            std::string field;
            const std::size_t size = line.find(" size ");
            if (!line.empty() && line[0] != '#' && line[0] != ' ' && size != std::string::npos) {
                record = line.substr(0, line.find(' '));
                records[record]["size"].push_back(std::stoi(line.substr(size + 6)));
            } else if (!line.empty() && line[0] == ' ') {
                const std::vector<int> numbers = numbersBehind(line, &field);
                records[record][field].push_back(numbers.at(0));
            }
        }
    }
    return records;
}

} // namespace

class HostGuideExchange : public HostGuide, public testing::WithParamInterface<std::string>
{
public:
    static std::vector<std::string> names()
    {
        std::vector<std::string> all;
        for (const auto &setUp : setUps())
            all.push_back(setUp.first);
        return all;
    }
};

TEST_P(HostGuideExchange, GoesAsTheGuideShowsIt)
{
    const auto blocks = exchanges();
    const auto block = blocks.find(GetParam());
    ASSERT_NE(blocks.end(), block) << "the guide does not show it";
    ASSERT_FALSE(block->second.empty());
    setUps().at(GetParam())(*this);
    replay(block->second);
}

static std::string testName(const testing::TestParamInfo<std::string> &block)
{
    std::string name = block.param;
    for (char &c : name)
        c = c == '-' ? '_' : c;
    return name;
}

INSTANTIATE_TEST_SUITE_P(Wire, HostGuideExchange, testing::ValuesIn(HostGuideExchange::names()), testName);

TEST_F(HostGuide, ShowsNoExchangeThatIsNotTried)
{
    for (const auto &block : exchanges())
        EXPECT_EQ(1u, setUps().count(block.first)) << block.first;
}

TEST_F(HostGuide, NamesEveryOffsetAndSize)
{
    const auto records = offsetsInLayouts();
    EXPECT_EQ(6u, records.size());
    for (const auto &record : records)
        EXPECT_EQ(record.second, offsetsInGuide(record.first)) << record.first;
}

TEST_F(HostGuide, AReplyLengthOfMinusOneTakesAnyLengthButNothing)
{
    poll({item(KindDT, "100", 5)});
    next();
    const_cast<Protocol *>(request)->replyLen = -1;
    EXPECT_EQ(0, noAnswer());
    next();
    EXPECT_EQ(-1, request->replyLen) << "the repeated frame keeps it";
    EXPECT_EQ(1, answer("%01$RD0100020015\r")) << "two words of the five";
    EXPECT_EQ("01 00 02 00 00 00", hex(read(KindDT, "100", 3)));
}

TEST_F(HostGuide, ALateReplyToAnEqualRequestGoesToTheWrongPlace)
{
    HostGuide::setUps().at("late-reply")(*this);
    replay(exchanges()["late-reply"]);
    EXPECT_EQ("01 00 02 00 03 00 04 00 05 00", hex(read(KindDT, "200", 5)));
    EXPECT_EQ("00 00 00 00 00 00 00 00 00 00", hex(read(KindDT, "100", 5)));
}

TEST_F(HostGuide, OnlyTheSecondReplyOfTheRemotePathIsStored)
{
    setUps().at("remote-path")(*this);
    EXPECT_NE("", next());
    EXPECT_EQ(100, answer("%01$RD341278561E\r"));
    EXPECT_EQ("00 00 00 00", hex(read(KindDT, "100", 2)));
    EXPECT_NE("", next());
    EXPECT_EQ(1, answer("%01$RD341278561E\r"));
    EXPECT_EQ("34 12 78 56", hex(read(KindDT, "100", 2)));
}
