// compare.cpp - comparing the two drivers' states.

#include "compare.h"

#include <cstdio>
#include <cstring>

using plain::Int;

QString toQt(const plain::Text &text)
{
    return QString::fromLatin1(text.data(), int(text.size()));
}

QByteArray toBytes(const plain::Bytes &bytes)
{
    return QByteArray(bytes.data(), int(bytes.size()));
}

plain::Bytes fromBytes(const QByteArray &bytes)
{
    return plain::Bytes(bytes.constData(), std::size_t(bytes.size()));
}

RW_VAR toQt(const plain::Var &var)
{
    RW_VAR qt;
    qt.ownerId = var.ownerId;
    qt.ownerTag = var.ownerTag;
    qt.varFlag = var.varFlag;
    qt.remoteMode = var.remoteMode;
    qt.linkNo = var.linkNo;
    qt.result = var.result;
    qt.name = toQt(var.name);
    qt.addrText = toQt(var.addrText);
    qt.areaKind = var.areaKind;
    qt.address = var.address;
    qt.station = var.station;
    qt.count = var.count;
    qt.extra1 = var.extra1;
    qt.extra2 = var.extra2;
    qt.data = toBytes(var.data);
    return qt;
}

HostReadItem toQt(const plain::Item &item)
{
    HostReadItem qt;
    qt.areaKind = item.areaKind;
    qt.station = item.station;
    qt.addrText = toQt(item.addrText);
    qt.name = toQt(item.name);
    qt.count = item.count;
    return qt;
}

EXTENDVAR toQt(const plain::Cell &cell)
{
    EXTENDVAR qt;
    qt.station = cell.station;
    qt.areaKind = cell.areaKind;
    qt.address = cell.address;
    qt.data = toBytes(cell.data);
    return qt;
}

ComInfo toQt(const plain::Settings &settings)
{
    static_assert(sizeof(plain::Settings) == sizeof(ComInfo), "the same nineteen words");
    ComInfo qt;
    std::memcpy(static_cast<void *>(&qt), &settings, sizeof qt);
    return qt;
}

// Values --------------------------------------------------------------------------------------------------------------

static std::string printable(const char *bytes, std::size_t size)
{
    std::string text = "\"";
    for (std::size_t i = 0; i < size && i < 120; ++i) {
        char escape[8];
        const unsigned char c = static_cast<unsigned char>(bytes[i]);
        std::snprintf(escape, sizeof escape, c >= 32 && c < 127 ? "%c" : "\\x%02X", c);
        text += escape;
    }
    return text + "\"(" + std::to_string(size) + ")";
}

static std::string said(const char *field, const std::string &model, const std::string &driver)
{
    return std::string(field) + ": expected " + model + ", got " + driver;
}

static std::string differenceOf(const char *field, Int model, Int driver)
{
    return model == driver ? std::string() : said(field, std::to_string(model), std::to_string(driver));
}

std::string differenceOf(const plain::Bytes &model, const QByteArray &driver)
{
    if (model.size() == std::size_t(driver.size()) && std::memcmp(model.data(), driver.constData(), model.size()) == 0)
        return std::string();
    return said("bytes", printable(model.data(), model.size()),
                printable(driver.constData(), std::size_t(driver.size())));
}

static bool same(const plain::Text &model, const QString &driver)
{
    if (model.size() != std::size_t(driver.size()))
        return false;
    const QChar *characters = driver.constData();
    for (std::size_t i = 0; i < model.size(); ++i)
        if (characters[i].unicode() != static_cast<unsigned char>(model[i]))
            return false;
    return true;
}

static std::string differenceOf(const char *field, const plain::Text &model, const QString &driver)
{
    return same(model, driver) ? std::string() : said(field, model, driver.toStdString());
}

static std::string inField(const char *field, const std::string &difference)
{
    return difference.empty() ? difference : std::string(field) + "." + difference;
}

static std::string inField(const char *list, std::size_t index, const std::string &difference)
{
    return difference.empty() ? difference : std::string(list) + "[" + std::to_string(index) + "]." + difference;
}

/// The first text that is not empty.
template <typename... Texts> static std::string firstOf(const Texts &...texts)
{
    for (const std::string &text : {texts...}) {
        if (!text.empty())
            return text;
    }
    return std::string();
}

std::string differenceOf(const plain::Var &model, const RW_VAR &driver)
{
    const bool integersSame =
        model.ownerId == driver.ownerId && model.ownerTag == driver.ownerTag && model.varFlag == driver.varFlag &&
        model.remoteMode == driver.remoteMode && model.linkNo == driver.linkNo && model.result == driver.result &&
        model.areaKind == driver.areaKind && model.address == driver.address && model.station == driver.station &&
        model.count == driver.count && model.extra1 == driver.extra1 && model.extra2 == driver.extra2;
    if (integersSame && same(model.name, driver.name) && same(model.addrText, driver.addrText))
        return inField("data", differenceOf(model.data, driver.data));
    return firstOf(
        differenceOf("ownerId", model.ownerId, driver.ownerId),
        differenceOf("ownerTag", model.ownerTag, driver.ownerTag),
        differenceOf("varFlag", model.varFlag, driver.varFlag),
        differenceOf("remoteMode", model.remoteMode, driver.remoteMode),
        differenceOf("linkNo", model.linkNo, driver.linkNo), differenceOf("result", model.result, driver.result),
        differenceOf("name", model.name, driver.name), differenceOf("addrText", model.addrText, driver.addrText),
        differenceOf("areaKind", model.areaKind, driver.areaKind),
        differenceOf("address", model.address, driver.address), differenceOf("station", model.station, driver.station),
        differenceOf("count", model.count, driver.count), differenceOf("extra1", model.extra1, driver.extra1),
        differenceOf("extra2", model.extra2, driver.extra2));
}

static std::string differenceOf(const plain::Frame &model, const Protocol &driver)
{
    return firstOf(inField("frame", differenceOf(model.frame, driver.frame)),
                   differenceOf("frameLen", model.frameLen, driver.frameLen),
                   differenceOf("replyLen", model.replyLen, driver.replyLen),
                   differenceOf("dataPos", model.dataPos, driver.dataPos),
                   differenceOf("dataLen", model.dataLen, driver.dataLen),
                   inField("var", differenceOf(model.var, driver.var)));
}

static std::string differenceOf(const plain::Cell &model, const EXTENDVAR &driver)
{
    if (model.station == driver.station && model.areaKind == driver.areaKind && model.address == driver.address)
        return inField("data", differenceOf(model.data, driver.data));
    return firstOf(differenceOf("station", model.station, driver.station),
                   differenceOf("areaKind", model.areaKind, driver.areaKind),
                   differenceOf("address", model.address, driver.address));
}

// Lists and areas -----------------------------------------------------------------------------------------------------

template <typename Model, typename List>
static std::string listDifference(const char *name, const std::vector<Model> &model, const List &driver)
{
    for (std::size_t i = 0; i < model.size() && i < std::size_t(driver.size()); ++i) {
        const std::string difference = differenceOf(model[i], driver.at(int(i)));
        if (!difference.empty())
            return inField(name, i, difference);
    }
    return inField(name, differenceOf("size", Int(model.size()), Int(driver.size())));
}

std::string differenceOf(const std::vector<plain::Var> &model, const QList<RW_VAR> &driver)
{
    return listDifference("list", model, driver);
}

std::string differenceOf(const std::vector<plain::Frame> &model, const QList<Protocol> &driver)
{
    return listDifference("list", model, driver);
}

std::string differenceOf(const std::vector<plain::Cell> &model, const QList<EXTENDVAR> &driver)
{
    return listDifference("list", model, driver);
}

static std::string differenceOf(const char *name, const std::vector<std::uint16_t> &model, const quint16 *driver)
{
    if (std::memcmp(model.data(), driver, 2 * model.size()) == 0)
        return std::string();
    for (std::size_t i = 0; i < model.size(); ++i)
        if (model[i] != driver[i])
            return inField(name, i, differenceOf("word", model[i], driver[i]));
    return name;
}

static std::string differenceOfSettings(const plain::Settings &model, const ComInfo &driver)
{
    static const char *const names[] = {"hostWord1",  "hostWord2",      "hostWord3",  "hostWord4",  "maxWordsPerWrite",
                                        "hostWord6",  "defaultStation", "retryLimit", "retryCount", "multiStation",
                                        "reserved40", "framesTotal",    "framesDone", "reserved52", "remoteMode",
                                        "linkNo",     "hostMode",       "cycleDone",  "hostHandle"};
    if (std::memcmp(&model, &driver, sizeof driver) == 0)
        return std::string();
    Int a[19], b[19];
    std::memcpy(a, &model, sizeof a);
    std::memcpy(b, &driver, sizeof b);
    std::string difference;
    for (int i = 0; i < 19; ++i)
        difference = firstOf(difference, differenceOf(names[i], a[i], b[i]));
    return inField("ComInfo", difference);
}

static std::string differenceOfStations(const std::map<Int, Int> &model, const QMap<int, int> &driver)
{
    std::map<Int, Int> seen;
    for (QMap<int, int>::const_iterator it = driver.constBegin(); it != driver.constEnd(); ++it)
        seen[it.key()] = it.value();
    return model == seen ? std::string() : "map_Station";
}

std::string differenceOf(const plain::Driver &model, const ComInfo &settings, bool withLargeAreas)
{
    const Matsushita_TCPIP_net &driver = PLC_driver;
    std::string difference = firstOf(
        differenceOfSettings(model.info, settings), differenceOf("curReqKind", model.curReqKind, driver.curReqKind),
        differenceOf("writeCount", model.writeCount, driver.writeCount),
        differenceOf("onceReadCount", model.onceReadCount, driver.onceReadCount),
        differenceOf("pollReplyCount", model.pollReplyCount, driver.pollReplyCount),
        differenceOf("bCommFail", model.bCommFail, driver.bCommFail), differenceOf("bReserve", 0, driver.bReserve),
        differenceOf("qmap_length", model.qmapLength, qmap_length),
        inField("retVar", differenceOf(model.retVar, driver.retVar)),
        listDifference("lst_Protocol", model.frames, driver.lst_Protocol),
        listDifference("qmap_list", model.qmapList, qmap_list),
        listDifference("lst_WriteVar", model.writes, driver.lst_WriteVar),
        listDifference("lst_OnceReadVar", model.onceReads, driver.lst_OnceReadVar),
        listDifference("lst_PollingReadVar", model.polling, driver.lst_PollingReadVar),
        listDifference("lst_ExtendVar", model.cells, driver.lst_ExtendVar),
        differenceOf("lst_ReserveVar.size", 0, Int(driver.lst_ReserveVar.size())),
        differenceOf("map_bit.size", 0, Int(map_bit.size())), differenceOf("map_word.size", 0, Int(map_word.size())),
        differenceOfStations(model.offStations, driver.map_Station),
        differenceOf("localT", model.area[4], driver.localT), differenceOf("localC", model.area[5], driver.localC),
        differenceOf("localWX", model.area[6], driver.localWX), differenceOf("localWY", model.area[7], driver.localWY),
        differenceOf("localWR", model.area[8], driver.localWR), differenceOf("localWL", model.area[9], driver.localWL),
        differenceOf("localLD", model.area[11], driver.localLD),
        differenceOf("localSV", model.area[13], driver.localSV),
        differenceOf("localEV", model.area[14], driver.localEV));
    if (difference.empty() && withLargeAreas)
        difference = firstOf(differenceOf("localDT", model.area[10], driver.localDT),
                             differenceOf("localFL", model.area[12], driver.localFL));
    return difference;
}
