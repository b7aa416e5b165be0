// walk.cpp - the operations, and walking through them.

#include "walk.h"

#include "driver/matsushita_tcpip_net_p.h"
#include "frames/Func_Check.h"
#include "frames/Func_Read.h"
#include "frames/Func_Remote.h"
#include "frames/Func_Write.h"
#include "init/Func_Init.h"
#include "store/Func_DealData.h"
#include "store/Func_GetOrSetData.h"

#include <algorithm>
#include <cstdio>
#include <limits>
#include <new>

using plain::Bytes;
using plain::Int;
using plain::Text;
using plain::Var;
using plain::Wide;

static const Int kHighest = std::numeric_limits<Int>::max();
static const Int kLowest = std::numeric_limits<Int>::min();

// Callbacks and reloading ---------------------------------------------------------------------------------------------

static std::vector<plain::Call> &driversCalls()
{
    static std::vector<plain::Call> calls;
    return calls;
}

static void onReadFinished(qint32 hostHandle, qint32 ownerId, qint32 ownerTag, qint32 status)
{
    driversCalls().push_back("finish " + std::to_string(hostHandle) + " " + std::to_string(ownerId) + " " +
                             std::to_string(ownerTag) + " " + std::to_string(status));
}

static void onCommFailed(QList<RW_VAR> *list, qint32 ownerId, qint32 reason)
{
    driversCalls().push_back("error " + std::to_string(ownerId) + " " + std::to_string(reason) +
                             (list && list->isEmpty() ? "" : " with a list that is not empty"));
}

void reloadDriver()
{
    PLC_driver.~Matsushita_TCPIP_net();
    new (&PLC_driver) Matsushita_TCPIP_net;
    qmap_list.clear();
    qmap_length = 0;
    map_bit.clear();
    map_word.clear();
    LB = LW = RWI = 0;
}

Walk::Walk()
{
    reloadDriver();
    driversCalls().clear();
    model.info.maxWordsPerWrite = 16;
    model.info.defaultStation = 1;
    model.info.retryLimit = 1;
    model.info.hostMode = 2;
    model.info.hostHandle = 77;
    settings = toQt(model.info);
    SetComInfo(&settings);
    RegistCallBackFuncIntf(onReadFinished, onCommFailed);
}

Walk::~Walk()
{
    static ComInfo afterWalks;
    SetComInfo(&afterWalks);
}

void Walk::expect(bool holds, const std::string &what)
{
    if (!holds && m_fault.empty())
        m_fault = what;
}

static std::string number(Wide value)
{
    return std::to_string(value);
}

static std::string quoted(const Bytes &bytes)
{
    std::string text = "\"";
    for (std::size_t i = 0; i < bytes.size() && i < 60; ++i) {
        char escape[8];
        const unsigned char c = static_cast<unsigned char>(bytes[i]);
        std::snprintf(escape, sizeof escape, c >= 32 && c < 127 ? "%c" : "\\x%02X", c);
        text += escape;
    }
    return text + "\"(" + number(Wide(bytes.size())) + ")";
}

static std::string inWords(const Var &var)
{
    return "{owner " + number(var.ownerId) + "/" + number(var.ownerTag) + " flag " + number(var.varFlag) + " link " +
           number(var.linkNo) + " kind " + number(var.areaKind) + " text " + quoted(var.addrText) + " address " +
           number(var.address) + " station " + number(var.station) + " count " + number(var.count) + " extra " +
           number(var.extra1) + "/" + number(var.extra2) + " data " + quoted(var.data) + "}";
}

// Values --------------------------------------------------------------------------------------------------------------

static Int anyKind(Dice &dice)
{
    if (dice.chance(4))
        return dice.oneOf<Int>({-1, 15, 16, 99, 255, kHighest, kLowest});
    return dice.chance(40) ? dice.oneOf<Int>({10, 10, 8, 2, 13}) : dice.below(15);
}

static Int anyStation(Dice &dice)
{
    return dice.chance(96) ? dice.oneOf<Int>({1, 1, 1, 2, 2, 3, 5}) : dice.oneOf<Int>({0, 4, 17, 255, -1, kHighest});
}

static Int anySmallCount(Dice &dice)
{
    if (dice.chance(70))
        return dice.from(1, 5);
    if (dice.chance(80))
        return dice.from(1, 40);
    return dice.oneOf<Int>({0, -1, -5, -20, -40, 16, 17, 32, 240, 241, 300});
}

struct Run {
    Int address, count;
};

/// Elements of the area of a kind. Huge counts start near the end of the area, so that they cover few elements.
static Run anyRun(Dice &dice, Int kind)
{
    const Int elements = Int(plain::elementsOf(kind));
    if (dice.chance(80))
        return {dice.below(48), anySmallCount(dice)};
    if (dice.chance(60))
        return {elements - dice.below(40),
                dice.chance(60) ? anySmallCount(dice) : dice.oneOf<Int>({kHighest, kLowest, 1000000, 160000})};
    if (dice.chance(70))
        return {dice.below(elements), anySmallCount(dice)};
    return {dice.oneOf<Int>({-1, -3, -20, kHighest, kLowest, elements, elements + 16, 123456789}),
            dice.oneOf<Int>({1, 4, 16, 20, -7})};
}

static Text anyText(Dice &dice, Int kind, Run run)
{
    const Int element = run.address;
    if (run.count <= 500 && dice.chance(4)) // a huge run stays where it was put
        return dice.oneOf<const char *>({"",
                                         "Z",
                                         "10G",
                                         "99999999999",
                                         "99999999999999999999F",
                                         "4294967296",
                                         "2147483647",
                                         "2147483648",
                                         "134217727F",
                                         "1342177280",
                                         "-",
                                         "-5",
                                         "-12",
                                         "-1F",
                                         " 12",
                                         "12 ",
                                         "+7",
                                         "+ 7",
                                         "0x10",
                                         "1e3",
                                         "1 2",
                                         "\xE9",
                                         "12A",
                                         " "});
    if (kind < 0 || kind > 3)
        return dice.chance(5) ? "00" + number(element) : number(element);
    const char digit = dice.chance(80) ? "0123456789ABCDEF"[element & 15] : "0123456789abcdef"[element & 15];
    if (element >= 0 && element < 16 && dice.chance(60))
        return Text(1, digit);
    return number(element / 16) + digit;
}

static Bytes anyBytes(Dice &dice, Wide size)
{
    Bytes bytes;
    for (Wide i = 0; i < size; ++i)
        bytes += char(dice.below(256));
    return bytes;
}

/// Value bytes for a run: mostly as many as it needs.
static Bytes anyValue(Dice &dice, Int kind, Int count)
{
    const bool bits = kind >= 0 && kind <= 5;
    Wide size = std::max(0, std::min(count, 40)) * (bits ? 1 : 2);
    if (dice.chance(15))
        size = dice.below(int(size) + 3);
    if (!bits)
        return anyBytes(dice, size);
    Bytes value;
    for (Wide i = 0; i < size; ++i)
        value += char(dice.oneOf<int>({0, 1, 1, 0, 1, 2, 255}));
    return value;
}

static Var anyVar(Dice &dice)
{
    Var var;
    var.ownerId = dice.chance(70) ? dice.below(4) : dice.oneOf<Int>({1, 11, 12, 13, -1, kHighest, kLowest});
    var.ownerTag = dice.chance(80) ? dice.below(3) : dice.oneOf<Int>({-1, kHighest});
    var.varFlag = dice.chance(90) ? 0 : dice.oneOf<Int>({1, 1, 2, -1, 256});
    var.remoteMode = dice.below(2);
    var.linkNo = dice.chance(80) ? 0 : dice.from(1, 2);
    var.result = dice.chance(90) ? 0 : 7;
    var.name = dice.oneOf<const char *>({"", "tank level", "motor", "x"});
    var.areaKind = anyKind(dice);
    const Run run = anyRun(dice, var.areaKind);
    var.address = run.address;
    var.count = run.count;
    var.addrText = anyText(dice, var.areaKind, run);
    var.station = anyStation(dice);
    var.extra1 = dice.chance(88) ? 0 : dice.oneOf<Int>({-1, -1, 88, 99, 1, 0x12345678});
    var.extra2 = dice.chance(90) ? 0 : dice.oneOf<Int>({5, -1, kLowest});
    var.data = anyValue(dice, var.areaKind, var.count);
    return var;
}

// Communication -------------------------------------------------------------------------------------------------------

static void communicate(Walk &walk, Dice &)
{
    walk.tell("ComCommunication()");
    const bool expected = walk.model.comCommunication();
    const Protocol *head = ComCommunication();
    walk.expect((head != nullptr) == expected, "ComCommunication answers null or a frame wrongly");
    if (head && !PLC_driver.lst_Protocol.isEmpty())
        walk.expect(head == &PLC_driver.lst_Protocol.at(0), "ComCommunication does not hand out the head record");
}

static void hand(Walk &walk, const Bytes &reply, Int length)
{
    walk.tell("DataCom(" + quoted(reply) + ", " + number(length) + ")");
    walk.model.dataCom(reply, length);
    QByteArray handed = toBytes(reply);
    const QByteArray shared = handed;
    const RW_VAR *result = DataCom(&handed, length);
    walk.expect(result == &PLC_driver.retVar, "DataCom does not return retVar");
    walk.expect(differenceOf(reply, handed).empty() && differenceOf(reply, shared).empty(), "the reply was changed");
}

static void closeReply(Bytes &reply)
{
    const unsigned x = plain::calXor(reply);
    reply += char(plain::digitalToAscii(int(x / 16)));
    reply += char(plain::digitalToAscii(int(x % 16)));
    reply += '\r';
}

/// The reply that the frame in flight asks for, or an acknowledgement where any will do. Empty if there is none, or if
/// it would be larger than a walk can afford.
static Bytes goodReply(const Walk &walk, Dice &dice, char mark)
{
    if (walk.model.frames.empty())
        return Bytes();
    Int length = walk.model.frames[0].replyLen;
    if (length <= 0)
        length = dice.oneOf<Int>({4, 9, 13, 25});
    if (length < 4 || length > (walk.model.info.multiStation != 0 ? 2000 : 50000))
        return Bytes();
    Bytes reply = "%01";
    reply += mark;
    while (Int(reply.size()) < length - 3)
        reply += dice.chance(99) ? "0123456789ABCDEF"[dice.below(16)] : char(dice.below(256));
    reply.resize(std::size_t(length - 3));
    closeReply(reply);
    return reply;
}

static void answerWell(Walk &walk, Dice &dice)
{
    const Bytes reply = goodReply(walk, dice, '$');
    hand(walk, reply, Int(reply.size()));
}

static void exchange(Walk &walk, Dice &dice)
{
    communicate(walk, dice);
    walk.tell("; ");
    answerWell(walk, dice);
}

static void answerNothing(Walk &walk, Dice &)
{
    hand(walk, Bytes(), 0);
}

static void answerBadly(Walk &walk, Dice &dice)
{
    Bytes reply = goodReply(walk, dice, dice.chance(25) ? '!' : '$');
    Int length = Int(reply.size());
    if (length < 4)
        return hand(walk, anyBytes(dice, dice.below(6)), length);
    switch (dice.below(12)) {
    case 0: // another check code
        reply[reply.size() - 2] = reply[reply.size() - 2] == '0' ? '1' : '0';
        break;
    case 1:
        reply[reply.size() - 3] = reply[reply.size() - 3] == '0' ? '1' : '0';
        break;
    case 2: // the check code in lower case
        for (std::size_t i = reply.size() - 3; i < reply.size() - 1; ++i)
            if (reply[i] >= 'A')
                reply[i] = char(reply[i] + 32);
        break;
    case 3:
        reply.back() = '\n';
        break;
    case 4: // another header, with a fitting check code
        reply.resize(reply.size() - 3);
        reply[0] = '<';
        closeReply(reply);
        break;
    case 5: // an error response
        reply = dice.chance(50) ? "%01!61" : "%01!";
        closeReply(reply);
        length = Int(reply.size());
        break;
    case 6: // fewer bytes than told
        reply.resize(std::size_t(dice.below(length)));
        break;
    case 7: // more bytes than told
        reply += anyBytes(dice, dice.from(1, 8));
        break;
    case 8: // cut off
        length = dice.below(length);
        reply.resize(std::size_t(length));
        break;
    case 9: // another length
        length = length + dice.oneOf<Int>({-1, 1, 4, -4, kLowest, -length});
        break;
    case 10:
        reply = anyBytes(dice, length);
        break;
    default: // whole, and longer
        reply.resize(reply.size() - 3);
        reply += "0000";
        closeReply(reply);
        length = Int(reply.size());
    }
    hand(walk, reply, length);
}

// Lists ---------------------------------------------------------------------------------------------------------------

static void afterCall(Walk &walk, Int expected, Int got, const Var &expectedVar, const RW_VAR &gotVar)
{
    walk.expect(expected == got, "result: expected " + number(expected) + ", got " + number(got));
    const std::string difference = differenceOf(expectedVar, gotVar);
    walk.expect(difference.empty(), "the caller's record: " + difference);
}

/// Gives \a var the target of an entry that waits already, so that duplicates are as frequent as they are interesting.
static void aimAtOneOf(const std::vector<Var> &list, Var &var, Dice &dice)
{
    if (list.empty() || !dice.chance(40))
        return;
    const Var &entry = list[std::size_t(dice.below(std::min(Int(list.size()), 4)))];
    var.station = entry.station;
    var.areaKind = entry.areaKind;
    var.address = entry.address;
    var.count = entry.count;
    var.addrText = number(entry.address);
    if (dice.chance(80)) {
        var.ownerId = entry.ownerId;
        var.ownerTag = entry.ownerTag;
    }
    if (dice.chance(15)) // all the same but for one
        (dice.chance(50) ? var.count : var.address) = dice.below(20);
}

static void addWrite(Walk &walk, Dice &dice)
{
    Var var = anyVar(dice);
    aimAtOneOf(walk.model.writes, var, dice);
    const Int direct = dice.chance(80) ? 0 : dice.oneOf<Int>({1, 1, 2, -1});
    walk.tell("AddListWriteVar(" + inWords(var) + ", " + number(direct) + ")");
    RW_VAR given = toQt(var);
    const Int expected = walk.model.addListWriteVar(var, direct);
    afterCall(walk, expected, AddListWriteVar(&given, direct), var, given);
    given.data.fill('x'); // the list has its own copy
}

static void addOnceRead(Walk &walk, Dice &dice)
{
    Var var = anyVar(dice);
    aimAtOneOf(walk.model.onceReads, var, dice);
    const Int direct = dice.chance(90) ? 0 : dice.oneOf<Int>({1, 1, 2, -1});
    walk.tell("AddListOnceReadVar(" + inWords(var) + ", " + number(direct) + ")");
    RW_VAR given = toQt(var);
    const Int expected = walk.model.addListOnceReadVar(var, direct);
    afterCall(walk, expected, AddListOnceReadVar(&given, direct), var, given);
}

static void addRead(Walk &walk, Dice &dice)
{
    const Var var = anyVar(dice);
    walk.tell("AddListReadVar(" + inWords(var) + ")");
    RW_VAR given = toQt(var);
    const Int expected = walk.model.addListReadVar(var);
    afterCall(walk, expected, AddListReadVar(&given), var, given);
}

static void rebuildFrom(Walk &walk, const std::vector<plain::Item> &items)
{
    walk.tell("ReCreatReadVarList(");
    QList<HostReadItem> given;
    for (const plain::Item &item : items) {
        given.append(toQt(item));
        walk.tell("{kind " + number(item.areaKind) + " station " + number(item.station) + " text " +
                  quoted(item.addrText) + " count " + number(item.count) + "}");
    }
    walk.tell(")");
    const Int expected = walk.model.reCreatReadVarList(items);
    const Int got = ReCreatReadVarList(&given);
    walk.expect(expected == got, "result: expected " + number(expected) + ", got " + number(got));
}

static plain::Item anyItem(Dice &dice)
{
    plain::Item item;
    item.areaKind = std::uint8_t(dice.chance(95) ? dice.below(15) : dice.oneOf<int>({15, 16, 99, 255}));
    item.station = std::uint8_t(dice.chance(90) ? dice.oneOf<int>({1, 1, 2, 3}) : dice.oneOf<int>({0, 255, 254, 17}));
    const Run run = anyRun(dice, item.areaKind);
    item.count = run.count;
    item.addrText = anyText(dice, item.areaKind, run);
    item.name = dice.oneOf<const char *>({"", "a", "b", "c"});
    return item;
}

static void rebuild(Walk &walk, Dice &dice)
{
    std::vector<plain::Item> items(std::size_t(dice.chance(10) ? 0 : dice.from(1, 16)));
    // Stations 255 and 0 share their groups with the neighbouring kind.
    const bool sharedGroups = dice.chance(20);
    for (plain::Item &item : items) {
        item = anyItem(dice);
        if (sharedGroups)
            item.station = dice.chance(50) ? 255 : 0;
    }
    rebuildFrom(walk, items);
}

static void rebuildWithMany(Walk &walk, Dice &dice)
{
    std::vector<plain::Item> items(std::size_t(dice.from(500, 2500)));
    for (plain::Item &item : items) {
        item.areaKind = std::uint8_t(dice.oneOf<int>({2, 8, 10, 10, 10, 12}));
        item.station = std::uint8_t(dice.from(1, 3));
        item.addrText = anyText(dice, item.areaKind, {dice.below(20000), 1});
        item.name = dice.oneOf<const char *>({"a", "b", "c"});
        item.count = dice.chance(95) ? dice.from(1, 12) : dice.from(1, 100);
    }
    rebuildFrom(walk, items);
}

static void fillList(Walk &walk, Dice &dice)
{
    const bool once = dice.chance(50);
    const Int count = dice.oneOf<Int>({300, 1000, 1023, 1100});
    walk.tell(number(count) + (once ? " one-shot reads" : " writes") + " straight into the list");
    for (Int i = 0; i < count; ++i) {
        Var var = anyVar(dice);
        var.areaKind = dice.from(7, 14);
        var.address = dice.below(600);
        var.count = dice.from(1, 3);
        RW_VAR given = toQt(var);
        if (once) {
            walk.model.addListOnceReadVar(var, 1);
            AddListOnceReadVar(&given, 1);
        } else {
            walk.model.addListWriteVar(var, 1);
            AddListWriteVar(&given, 1);
        }
    }
}

// Registers -----------------------------------------------------------------------------------------------------------

static void setRegister(Walk &walk, Dice &dice)
{
    const Int kind = anyKind(dice);
    const Run run = anyRun(dice, kind);
    const Text text = anyText(dice, kind, run);
    const Bytes data = anyValue(dice, kind, run.count);
    const Int station = anyStation(dice), ownerId = dice.below(5), ownerTag = dice.below(3);
    walk.tell("SetRegisterData(kind " + number(kind) + ", " + quoted(text) + ", station " + number(station) +
              ", data " + quoted(data) + ", count " + number(run.count) + ", owner " + number(ownerId) + "/" +
              number(ownerTag) + ")");
    const Int expected = walk.model.setRegisterData("n", kind, text, station, data, run.count, ownerId, ownerTag);
    QString name = toQt(Text("n")), addrText = toQt(text);
    QByteArray given = toBytes(data);
    const Int got = SetRegisterData(&name, kind, &addrText, station, &given, run.count, ownerId, ownerTag);
    walk.expect(expected == got, "result: expected " + number(expected) + ", got " + number(got));
    walk.expect(differenceOf(data, given).empty(), "the caller's data was changed");
    given.fill('x');
}

static void getRegisterFrom(Walk &walk, Dice &dice, Int kind, Run run)
{
    const Text text = anyText(dice, kind, run);
    const Int station = anyStation(dice);
    Bytes out = anyBytes(dice, dice.chance(50) ? 0 : dice.below(30));
    walk.tell("GetRegisterData(kind " + number(kind) + ", " + quoted(text) + ", station " + number(station) + ", out " +
              quoted(out) + ", count " + number(run.count) + ")");
    const Bytes before = out;
    QByteArray got = toBytes(out);
    const QByteArray shared = got;
    const Int expected = walk.model.getRegisterData(kind, text, station, out, run.count);
    QString name, addrText = toQt(text);
    const Int result = GetRegisterData(&name, kind, &addrText, station, &got, run.count);
    walk.expect(expected == result, "result: expected " + number(expected) + ", got " + number(result));
    walk.expect(differenceOf(out, got).empty(), "out: " + differenceOf(out, got));
    walk.expect(differenceOf(before, shared).empty(), "an array that shares out's bytes was changed");
}

static void getRegister(Walk &walk, Dice &dice)
{
    const Int kind = anyKind(dice);
    getRegisterFrom(walk, dice, kind, anyRun(dice, kind));
}

static void makeManyCells(Walk &walk, Dice &dice)
{
    if (walk.model.info.multiStation != 0 && walk.model.cells.size() < 9000)
        getRegisterFrom(walk, dice, dice.oneOf<Int>({8, 10, 12}), {dice.below(3000), dice.from(500, 2000)});
}

static void convert(Walk &walk, Dice &dice)
{
    const Int kind = anyKind(dice);
    const Text text = anyText(dice, kind, anyRun(dice, kind));
    const Int expected = plain::stringAddressToInt(kind, text);
    walk.tell("addresses: kind " + number(kind) + ", " + quoted(text));
    const Int inner = StringAddressToInt(kind, toQt(text)), outer = PLCAddressChangeIntef(kind, toQt(text));
    walk.expect(inner == outer, "the two conversions differ");
    walk.expect(inner == expected || (inner < 0 && expected < 0),
                "expected " + number(expected) + ", got " + number(inner));
}

// Stations and settings -----------------------------------------------------------------------------------------------

static void switchStation(Walk &walk, Dice &dice)
{
    const Int station = anyStation(dice);
    const Int enable = dice.chance(90) ? dice.below(2) : dice.oneOf<Int>({2, 7, -1});
    walk.tell("EnCommStation(" + number(station) + ", " + number(enable) + ")");
    walk.model.enCommStation(station, enable);
    EnCommStation(station, enable);
    const Int asked = anyStation(dice);
    walk.expect(Ethernetcontains(asked) == (walk.model.stationIsOff(asked) ? 1 : 0), "Ethernetcontains");
}

static void changeSetting(Walk &walk, Dice &dice)
{
    struct Setting {
        const char *name;
        Int plain::Settings::*model;
        qint32 ComInfo::*driver;
    };
    static const Setting settings[] = {
        {"multiStation", &plain::Settings::multiStation, &ComInfo::multiStation},
        {"remoteMode", &plain::Settings::remoteMode, &ComInfo::remoteMode},
        {"linkNo", &plain::Settings::linkNo, &ComInfo::linkNo},
        {"hostMode", &plain::Settings::hostMode, &ComInfo::hostMode},
        {"retryLimit", &plain::Settings::retryLimit, &ComInfo::retryLimit},
        {"maxWordsPerWrite", &plain::Settings::maxWordsPerWrite, &ComInfo::maxWordsPerWrite},
        {"defaultStation", &plain::Settings::defaultStation, &ComInfo::defaultStation},
        {"hostHandle", &plain::Settings::hostHandle, &ComInfo::hostHandle},
        {"framesDone", &plain::Settings::framesDone, &ComInfo::framesDone},
        {"framesTotal", &plain::Settings::framesTotal, &ComInfo::framesTotal},
        {"retryCount", &plain::Settings::retryCount, &ComInfo::retryCount},
        {"cycleDone", &plain::Settings::cycleDone, &ComInfo::cycleDone},
    };
    const int which = dice.chance(70) ? dice.below(8) : dice.below(12);
    Int value = 0;
    switch (which) {
    case 0:
        value = dice.oneOf<Int>({0, 1, 1, -1});
        break;
    case 1:
        value = dice.oneOf<Int>({0, 0, 0, 1});
        break;
    case 2:
        value = dice.oneOf<Int>({0, 0, 0, 1, 2});
        break;
    case 3:
        value = dice.oneOf<Int>({2, 2, 2, 2, 0, 1});
        break;
    case 4:
        value = dice.oneOf<Int>({0, 1, 2, 3, -1, kHighest});
        break;
    case 5:
        value = dice.oneOf<Int>({16, 16, 1, 2, 7, 0, -1, kHighest});
        break;
    case 6:
        value = anyStation(dice);
        break;
    default:
        value = dice.from(-1, 4);
    }
    walk.tell(std::string(settings[which].name) + " = " + number(value));
    walk.model.info.*settings[which].model = value;
    walk.settings.*settings[which].driver = value;
}

// What a host changes in the exported objects
// --------------------------------------------------------------------------

/// The same change to a list of the model and to that of the driver.
template <typename Model, typename Driver, typename Any, typename Edit>
static void changeListOf(Walk &walk, Dice &dice, std::vector<Model> &model, QList<Driver> &driver, Any any, Edit edit)
{
    const Int size = Int(model.size());
    const Int at = dice.below(size);
    switch (dice.below(8)) {
    case 0:
        if (size > 0) {
            walk.tell("removed " + number(at));
            model.erase(model.begin() + at);
            driver.removeAt(at);
        }
        break;
    case 1: {
        const Model value = any();
        walk.tell("inserted at " + number(at));
        model.insert(model.begin() + at, value);
        driver.insert(at, toQt(value));
        break;
    }
    case 2:
        if (size > 0) {
            const Int other = dice.below(size);
            walk.tell("exchanged " + number(at) + " and " + number(other));
            std::swap(model[std::size_t(at)], model[std::size_t(other)]);
            const Driver kept = driver.at(at);
            driver[at] = driver.at(other);
            driver[other] = kept;
        }
        break;
    case 3:
        if (dice.chance(20)) {
            walk.tell("cleared");
            model.clear();
            driver.clear();
        }
        break;
    case 4: { // another list altogether, of the same contents but for one entry
        walk.tell("replaced by a copy");
        QList<Driver> copy;
        for (int i = 0; i < driver.size(); ++i)
            copy.append(driver.at(i));
        driver = copy;
        break;
    }
    case 5:
        if (size > 0) {
            const Model value = any();
            walk.tell("overwrote " + number(at));
            model[std::size_t(at)] = value;
            driver[at] = toQt(value);
        }
        break;
    default:
        if (size > 0) {
            walk.tell("edited " + number(at) + ": ");
            Model value = model[std::size_t(at)];
            edit(value);
            model[std::size_t(at)] = value;
            driver[at] = toQt(value);
        }
    }
}

static void changeList(Walk &walk, Dice &dice)
{
    struct List {
        const char *name;
        std::vector<Var> *model;
        QList<RW_VAR> *driver;
    };
    const List lists[] = {{"lst_WriteVar: ", &walk.model.writes, &PLC_driver.lst_WriteVar},
                          {"lst_OnceReadVar: ", &walk.model.onceReads, &PLC_driver.lst_OnceReadVar},
                          {"lst_PollingReadVar: ", &walk.model.polling, &PLC_driver.lst_PollingReadVar},
                          {"qmap_list: ", &walk.model.qmapList, &qmap_list}};
    const List &list = lists[dice.below(4)];
    walk.tell(list.name);
    changeListOf(
        walk, dice, *list.model, *list.driver, [&] { return anyVar(dice); },
        [&](Var &var) {
            switch (dice.below(7)) {
            case 0:
                var.station = anyStation(dice);
                break;
            case 1:
                var.address = dice.below(40);
                break;
            case 2:
                var.count = dice.from(-1, 20);
                break;
            case 3:
                var.ownerId = dice.from(-1, 13);
                break;
            case 4:
                var.ownerTag = dice.below(3);
                break;
            case 5:
                var.areaKind = anyKind(dice);
                var.address = dice.below(40);
                var.count = 3;
                break;
            default:
                var.data = anyBytes(dice, dice.below(12));
            }
            walk.tell(inWords(var));
        });
}

static void changeCells(Walk &walk, Dice &dice)
{
    walk.tell("lst_ExtendVar: ");
    changeListOf(
        walk, dice, walk.model.cells, PLC_driver.lst_ExtendVar,
        [&] {
            return plain::Cell{anyStation(dice), dice.oneOf<Int>({4, 7, 8, 9, 10}),
                               dice.below(dice.chance(50) ? 3 : 48),
                               anyBytes(dice, dice.oneOf<int>({2, 2, 0, 1, 4, 7}))};
        },
        [&](plain::Cell &cell) {
            switch (dice.below(4)) {
            case 0:
                cell.station = anyStation(dice);
                break;
            case 1:
                cell.areaKind = dice.from(4, 14);
                break;
            case 2:
                cell.address = dice.below(48);
                break;
            default:
                cell.data = anyBytes(dice, dice.oneOf<int>({2, 0, 0, 1, 3, 4}));
            }
            walk.tell(number(cell.station) + "/" + number(cell.areaKind) + "/" + number(cell.address));
        });
}

static void changeFrame(Walk &walk, Dice &dice)
{
    if (walk.model.frames.empty())
        return;
    plain::Frame &model = walk.model.frames[0];
    Protocol &driver = PLC_driver.lst_Protocol[0];
    walk.tell("frame in flight: ");
    const int choice = dice.below(10);
    switch (choice) {
    case 0:
    case 1:
        model.replyLen = driver.replyLen = dice.oneOf<Int>({-1, -1, 0, 9, 13});
        break;
    case 2:
    case 3:
        model.var.extra1 = driver.var.extra1 = dice.oneOf<Int>({-1, -1, 88, 0});
        break;
    case 4:
        model.var.varFlag = driver.var.varFlag = dice.oneOf<Int>({0, 1, 2, -1});
        break;
    case 5:
        model.dataLen = driver.dataLen = dice.oneOf<Int>({0, 3, 4, 8, 63, 64, 400, -4, kLowest});
        break;
    case 6:
        model.dataPos = driver.dataPos = dice.oneOf<Int>({6, 0, 11, 7, kHighest, kLowest});
        break;
    case 7:
        model.var.linkNo = driver.var.linkNo = dice.below(3);
        break;
    case 8:
        model.var.ownerId = driver.var.ownerId = dice.from(-1, 13);
        break;
    default:
        walk.model.frames.erase(walk.model.frames.begin());
        PLC_driver.lst_Protocol.removeFirst();
        walk.tell("removed");
        return;
    }
    walk.tell("replyLen " + number(model.replyLen) + " dataPos " + number(model.dataPos) + " dataLen " +
              number(model.dataLen) + " of " + inWords(model.var));
}

static void changeCounters(Walk &walk, Dice &dice)
{
    switch (dice.below(5)) {
    case 0:
        walk.model.qmapLength = qmap_length = dice.oneOf<Int>({0, 1, 2, 5, 7, -3, 1000, kHighest, kLowest});
        walk.tell("qmap_length = " + number(qmap_length));
        break;
    case 1:
        walk.model.curReqKind = PLC_driver.curReqKind = dice.oneOf<Int>({0, 1, 2, 100, 7});
        walk.tell("curReqKind = " + number(PLC_driver.curReqKind));
        break;
    case 2:
        walk.model.writeCount = PLC_driver.writeCount = dice.from(-1, 6);
        walk.tell("writeCount = " + number(PLC_driver.writeCount));
        break;
    case 3:
        walk.model.onceReadCount = PLC_driver.onceReadCount = dice.from(-1, 6);
        walk.tell("onceReadCount = " + number(PLC_driver.onceReadCount));
        break;
    default:
        PLC_driver.bCommFail = quint8(dice.below(2));
        walk.model.bCommFail = PLC_driver.bCommFail;
        walk.tell("bCommFail = " + number(PLC_driver.bCommFail));
    }
}

// Inner routines, called straight
// --------------------------------------------------------------------------------------

static void buildStraight(Walk &walk, Dice &dice)
{
    if (walk.model.frames.size() > 6)
        return;
    Var var = anyVar(dice);
    RW_VAR given = toQt(var);
    const int which = dice.below(11);
    walk.tell("builder " + number(which) + " with " + inWords(var));
    switch (which) {
    case 0:
        walk.model.readBoolRCC(var);
        ReadBoolRCC(given);
        break;
    case 1:
        walk.model.readAnalog(var);
        ReadAnalog(given);
        break;
    case 2:
        walk.model.readTCSK(var);
        ReadTCSK(given);
        break;
    case 3:
        walk.model.readWordMD(var);
        ReadWordMD(given);
        break;
    case 4:
        walk.model.readRegister();
        ReadRegister();
        break;
    case 5:
        walk.model.writeRegister(var);
        WriteRegister(&given);
        break;
    case 6:
        walk.model.writeBool(var);
        WriteBool(&given);
        break;
    case 7:
        walk.model.remoteReadVar(var);
        Remote_ReadVar(&given);
        break;
    case 8:
        walk.model.remoteWriteVar(var);
        Remote_WriteVar(&given);
        break;
    default:
        walk.model.writeDataToLocal(var);
        WriteDataToLocal(&given);
    }
    walk.expect(differenceOf(var, given).empty(), "the variable was changed: " + differenceOf(var, given));
}

static void judgeStraight(Walk &walk, Dice &dice)
{
    if (walk.model.frames.empty())
        return;
    Bytes reply = goodReply(walk, dice, '$');
    Int length = Int(reply.size());
    if (dice.chance(30))
        length = length + dice.from(-2, 3);
    if (dice.chance(30))
        reply.resize(std::size_t(dice.below(Int(reply.size()))));
    QByteArray given = toBytes(reply);
    walk.tell("CheckGetData, SaveToLocalDataErea with " + quoted(reply) + ", " + number(length));
    walk.expect(walk.model.checkGetData(reply, length) == CheckGetData(&given, length), "CheckGetData");
    if (walk.model.frames[0].dataLen / 4 > 1000)
        return;
    if (dice.chance(50)) {
        walk.model.saveToLocal(reply);
        SaveToLocalDataErea(&given);
    } else {
        walk.model.saveWordToUC(reply);
        SaveWordToUC(&given);
    }
    const int reason = dice.from(-1, 9);
    walk.expect(walk.model.driverReturnValue(reason) == GetDriverReturnValue(reason), "GetDriverReturnValue");
}

/// The two routines that store at a base of the caller's, with a request made for them at the head of the queue.
static void saveElsewhere(Walk &walk, Dice &dice)
{
    if (walk.model.frames.empty())
        return;
    plain::Frame &model = walk.model.frames[0];
    Protocol &driver = PLC_driver.lst_Protocol[0];
    model.dataPos = driver.dataPos = dice.below(12);
    model.dataLen = driver.dataLen = dice.from(-1, 40);
    model.var.address = driver.var.address = dice.below(8);
    model.var.extra1 = driver.var.extra1 = dice.oneOf<Int>({-1, -1, 0});
    const Bytes reply = anyBytes(dice, dice.below(60));
    QByteArray given = toBytes(reply);
    walk.tell("SpecialRegisterSave, SaveBitToUC at " + number(model.dataPos) + ", " + number(model.dataLen) + " with " +
              quoted(reply));
    std::vector<std::uint16_t> words(64), givenWords(64);
    walk.model.specialRegisterSave(reply, words);
    SpecialRegisterSave(&given, givenWords.data());
    walk.expect(words == givenWords, "SpecialRegisterSave");
    Bytes bytes(64, 'x');
    std::vector<unsigned char> givenBytes(64, 'x');
    walk.model.saveBitToUC(reply, bytes);
    SaveBitToUC(&given, givenBytes.data());
    walk.expect(bytes == Bytes(givenBytes.begin(), givenBytes.end()), "SaveBitToUC");
}

static void planStraight(Walk &walk, Dice &dice)
{
    // Addresses and lengths as they come; the kinds are those of words, since planning never sees another.
    std::vector<Var> group(std::size_t(dice.below(10)));
    for (Var &var : group) {
        var = anyVar(dice);
        var.areaKind = dice.from(4, 16);
        const Run run = anyRun(dice, var.areaKind);
        var.address = run.address;
        var.count = std::min(run.count, 1000);
    }
    QList<RW_VAR> given;
    for (const Var &var : group) {
        given.append(toQt(var));
        walk.tell("(" + number(var.areaKind) + ": " + number(var.address) + ", " + number(var.count) + ") ");
    }
    if (!group.empty() && dice.chance(40)) {
        const Int n = anyRun(dice, group[0].areaKind).count, size = dice.oneOf<Int>({16, 240, 1, 5});
        walk.tell("WhetherGroup(" + number(n) + ", " + number(size) + ")");
        std::vector<Var> pieces;
        QList<RW_VAR> got;
        RW_VAR from = given.at(0);
        Var modelFrom = group[0];
        plain::whetherGroup(std::min(n, 5000), size, modelFrom, pieces);
        WhetherGroup(std::min(n, 5000), size, &from, &got);
        walk.expect(differenceOf(pieces, got).empty(), "WhetherGroup: " + differenceOf(pieces, got));
        walk.expect(differenceOf(modelFrom, from).empty(), "WhetherGroup's record: " + differenceOf(modelFrom, from));
    }
    if (dice.chance(70)) {
        plain::exchangeSort(group);
        Bubble_Sort(&given);
        walk.expect(differenceOf(group, given).empty(), "Bubble_Sort: " + differenceOf(group, given));
    }
    const Int maxLen = dice.oneOf<Int>({16, 16, 16, 1, 3, 0, -1});
    walk.tell("WordVarReCreatBuild(" + number(maxLen) + ")");
    walk.model.wordVarReCreatBuild(group, maxLen);
    WordVarReCreatBuild(&given, maxLen);
    if (dice.chance(50)) {
        walk.model.sortPolling();
        sort_lst_PollingReadVar();
    }
}

static void helpStraight(Walk &walk, Dice &dice)
{
    std::vector<std::uint16_t> area(64), givenArea;
    for (std::uint16_t &word : area)
        word = std::uint16_t(dice.below(65536));
    givenArea = area;
    Bytes bytes = anyBytes(dice, dice.below(40));
    QByteArray given = toBytes(bytes);
    const int which = dice.below(11);
    const Int count = dice.below(20);
    const Int start = dice.below(which == 0 || which == 2 ? 1000 : 40);
    walk.tell("helper " + number(which) + " (" + number(start) + ", " + number(count) + ") with " + quoted(bytes));
    switch (which) {
    case 0:
        plain::getBits(bytes, area, start, count);
        GetBitFromUS(given, givenArea.data(), start, count);
        break;
    case 1:
        plain::getWords(bytes, area, start, count);
        GetWordFromUS(given, givenArea.data(), start, count);
        break;
    case 2:
        plain::setBits(start, area, bytes, count);
        SetBitToUS(start, givenArea.data(), &given, count);
        break;
    case 3:
        plain::setWords(start, area, bytes, count);
        SetWordToUS(start, givenArea.data(), &given, count);
        break;
    case 4:
        plain::getDoubleWords(bytes, area, start, count);
        GetWordFromUI(given, givenArea.data(), start, count);
        break;
    case 5:
        plain::setDoubleWords(start, area, bytes, count);
        SetWordToUI(start, givenArea.data(), &given, count);
        break;
    case 6: {
        std::vector<unsigned char> byteArea(64), modelArea;
        for (unsigned char &byte : byteArea)
            byte = static_cast<unsigned char>(dice.below(256));
        modelArea = byteArea;
        for (Int i = 0; i < count && i < Int(bytes.size()); ++i)
            modelArea[std::size_t(start + i)] = bytes[std::size_t(i)] == 1 ? 1 : 0;
        SetBitToUC(start, byteArea.data(), &given, count);
        walk.expect(byteArea == modelArea, "SetBitToUC");
        for (Int i = 0; i < count; ++i) {
            bytes.resize(std::max(bytes.size(), std::size_t(i + 1)));
            bytes[std::size_t(i)] = char(byteArea[std::size_t(start + i)] & 1);
        }
        GetBitFromUC(given, byteArea.data(), start, count);
        break;
    }
    case 7:
        for (int digit = -2; digit < 18; ++digit)
            walk.expect(DigitalToASCII(digit) == plain::digitalToAscii(digit), "DigitalToASCII");
        for (int ch = -2; ch < 258; ++ch)
            walk.expect(ASCIIToDigital(ch) == plain::asciiToDigital(ch), "ASCIIToDigital");
        break;
    default: {
        unsigned char *const data = reinterpret_cast<unsigned char *>(given.data());
        const unsigned short size = static_cast<unsigned short>(given.size());
        walk.expect(size == 0 || CalXOR(data, size) == plain::calXor(bytes), "CalXOR");
        walk.expect(CalSUM(data, size) == plain::calSum(bytes), "CalSUM");
        walk.expect(CalCRC(data, size) == plain::calCrc(bytes), "CalCRC");
        walk.expect(CalLRC(data, size) == plain::calLrc(bytes), "CalLRC");
    }
    }
    walk.expect(area == givenArea, "the area differs");
    walk.expect(differenceOf(bytes, given).empty(), differenceOf(bytes, given));
}

static void findCell(Walk &walk, Dice &dice)
{
    const Int station = anyStation(dice), kind = dice.from(4, 14), word = dice.below(48);
    walk.tell("ExtendFindSameVar(" + number(station) + ", " + number(kind) + ", " + number(word) + ")");
    const Int expected = walk.model.findCell(station, kind, word);
    const Int got = ExtendFindSameVar(station, kind, word);
    walk.expect(expected == got, "expected " + number(expected) + ", got " + number(got));
}

/// Copies that a host takes share their contents with the driver's lists; what the driver does afterwards must not show
/// in them.
static void holdCopies(Walk &walk, Dice &)
{
    if (walk.held) {
        walk.tell("copies taken before looked at");
        walk.expect(differenceOf(walk.held->frames, walk.held->driversFrames).empty() &&
                        differenceOf(walk.held->writes, walk.held->driversWrites).empty() &&
                        differenceOf(walk.held->onceReads, walk.held->driversOnceReads).empty() &&
                        differenceOf(walk.held->polling, walk.held->driversPolling).empty() &&
                        differenceOf(walk.held->qmapList, walk.held->driversQmapList).empty() &&
                        differenceOf(walk.held->cells, walk.held->driversCells).empty(),
                    "a copy that a host took of a list was changed by the driver");
        walk.held.reset();
        return;
    }
    walk.tell("copies taken");
    walk.held.reset(new HeldCopies{walk.model.frames, walk.model.writes, walk.model.onceReads, walk.model.polling,
                                   walk.model.qmapList, walk.model.cells, PLC_driver.lst_Protocol,
                                   PLC_driver.lst_WriteVar, PLC_driver.lst_OnceReadVar, PLC_driver.lst_PollingReadVar,
                                   qmap_list, PLC_driver.lst_ExtendVar});
}

// The table -----------------------------------------------------------------------------------------------------------

struct Row {
    const char *name;
    int weight, weightInLargeWalks;
    void (*perform)(Walk &, Dice &);
};

static const Row rows[] = {
    // clang-format off
    {"communicate",    20, 20, communicate},
    {"exchange",       40, 60, exchange},
    {"answerWell",     25, 20, answerWell},
    {"answerNothing",   5,  3, answerNothing},
    {"answerBadly",    12,  6, answerBadly},
    {"addWrite",       10, 10, addWrite},
    {"addOnceRead",    10, 10, addOnceRead},
    {"addRead",         3,  3, addRead},
    {"rebuild",         3,  1, rebuild},
    {"setRegister",    10, 10, setRegister},
    {"getRegister",    10, 10, getRegister},
    {"convert",         3,  1, convert},
    {"switchStation",   4,  3, switchStation},
    {"changeSetting",   6,  3, changeSetting},
    {"changeList",      4,  6, changeList},
    {"changeCells",     4,  6, changeCells},
    {"changeFrame",     4,  2, changeFrame},
    {"changeCounters",  2,  2, changeCounters},
    {"buildStraight",   4,  2, buildStraight},
    {"judgeStraight",   4,  2, judgeStraight},
    {"saveElsewhere",   1,  1, saveElsewhere},
    {"planStraight",    2,  1, planStraight},
    {"holdCopies",      2,  2, holdCopies},
    {"helpStraight",    2,  1, helpStraight},
    {"findCell",        2,  4, findCell},
    {"rebuildWithMany", 0,  1, rebuildWithMany},
    {"fillList",        0,  2, fillList},
    {"makeManyCells",   0,  3, makeManyCells},
    // clang-format on
};

int Walk::operationCount()
{
    return int(sizeof rows / sizeof rows[0]);
}

int Walk::operationNamed(const std::string &name)
{
    for (int code = 0; code < operationCount(); ++code)
        if (rows[code].name == name)
            return code;
    return -1;
}

int Walk::drawOperation(Dice &dice, bool large)
{
    int total = 0;
    for (const Row &row : rows)
        total += large ? row.weightInLargeWalks : row.weight;
    int drawn = dice.below(total);
    for (int code = 0; code < operationCount(); ++code) {
        drawn -= large ? rows[code].weightInLargeWalks : rows[code].weight;
        if (drawn < 0)
            return code;
    }
    return 0;
}

std::string Walk::perform(int code, Dice &dice)
{
    m_told = std::string(rows[code].name) + ": ";
    m_fault.clear();
    rows[code].perform(*this, dice);
    expect(model.calls == driversCalls(), "the callbacks differ");
    model.calls.clear();
    driversCalls().clear();
    ++m_performed;
    if (m_fault.empty())
        m_fault = differenceOf(model, settings, m_performed % 64 == 0);
    return m_fault;
}

std::string walkThrough(const std::vector<Operation> &operations, std::size_t &failedAt, std::string *told)
{
    Walk walk;
    for (std::size_t i = 0; i < operations.size(); ++i) {
        SeededDice dice(operations[i].seed);
        const std::string difference = walk.perform(operations[i].code, dice);
        if (told)
            *told += "  " + walk.told() + "\n";
        if (!difference.empty()) {
            failedAt = i;
            return difference;
        }
    }
    failedAt = operations.size();
    return differenceOf(walk.model, walk.settings, true);
}

std::vector<Operation> shrunk(std::vector<Operation> operations)
{
    std::size_t failedAt = 0;
    walkThrough(operations, failedAt);
    operations.resize(std::min(failedAt + 1, operations.size()));
    for (std::size_t piece = operations.size() / 2; piece >= 1; piece /= 2) {
        for (std::size_t at = 0; at < operations.size();) {
            std::vector<Operation> fewer = operations;
            fewer.erase(fewer.begin() + std::ptrdiff_t(at),
                        fewer.begin() + std::ptrdiff_t(std::min(at + piece, fewer.size())));
            if (walkThrough(fewer, failedAt).empty()) {
                at += piece;
            } else {
                fewer.resize(std::min(failedAt + 1, fewer.size()));
                operations = fewer;
            }
        }
    }
    return operations;
}

std::string reportOfWalk(std::uint64_t seed, int length, bool large)
{
    SeededDice dice(seed);
    std::vector<Operation> operations;
    for (int i = 0; i < length; ++i) {
        const int code = Walk::drawOperation(dice, large);
        operations.push_back({code, dice.next()});
    }
    std::size_t failedAt = 0;
    if (walkThrough(operations, failedAt).empty())
        return std::string();
    operations = shrunk(operations);
    std::string told;
    const std::string difference = walkThrough(operations, failedAt, &told);
    return "seed " + std::to_string(seed) + ", shrunk to " + std::to_string(operations.size()) +
           " operations: " + difference + "\n" + told;
}
