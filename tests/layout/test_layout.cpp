// test_layout.cpp - every offset and size of the records that cross the interface, compared with a checked-in dump.
//
//  - 32bit.txt and 64bit.txt hold for Qt 4.8 and 5, where a Qt value is one pointer; 64bit-qt6.txt for Qt 6, where
//    strings, byte arrays and lists are three.
//  - A host built years ago goes on with this library only as long as these files do not change.

#include "matsushita_tcpip_net.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <fstream>
#include <iomanip>
#include <sstream>
#include <string>

namespace
{

struct Field {
    const char *name;
    std::size_t offset, size;
};

#define FIELD(record, field)                                                                                           \
    Field                                                                                                              \
    {                                                                                                                  \
#field, offsetof(record, field), sizeof(record::field)                                                         \
    }

const Field kRwVar[] = {
    FIELD(RW_VAR, ownerId),  FIELD(RW_VAR, ownerTag), FIELD(RW_VAR, varFlag), FIELD(RW_VAR, remoteMode),
    FIELD(RW_VAR, linkNo),   FIELD(RW_VAR, result),   FIELD(RW_VAR, name),    FIELD(RW_VAR, addrText),
    FIELD(RW_VAR, areaKind), FIELD(RW_VAR, address),  FIELD(RW_VAR, station), FIELD(RW_VAR, count),
    FIELD(RW_VAR, extra1),   FIELD(RW_VAR, extra2),   FIELD(RW_VAR, data),
};

const Field kProtocol[] = {
    FIELD(Protocol, frame),   FIELD(Protocol, frameLen), FIELD(Protocol, replyLen),
    FIELD(Protocol, dataPos), FIELD(Protocol, dataLen),  FIELD(Protocol, var),
};

const Field kExtendVar[] = {
    FIELD(EXTENDVAR, station),
    FIELD(EXTENDVAR, areaKind),
    FIELD(EXTENDVAR, address),
    FIELD(EXTENDVAR, data),
};

const Field kComInfo[] = {
    FIELD(ComInfo, hostWord1),      FIELD(ComInfo, hostWord2),        FIELD(ComInfo, hostWord3),
    FIELD(ComInfo, hostWord4),      FIELD(ComInfo, maxWordsPerWrite), FIELD(ComInfo, hostWord6),
    FIELD(ComInfo, defaultStation), FIELD(ComInfo, retryLimit),       FIELD(ComInfo, retryCount),
    FIELD(ComInfo, multiStation),   FIELD(ComInfo, reserved40),       FIELD(ComInfo, framesTotal),
    FIELD(ComInfo, framesDone),     FIELD(ComInfo, reserved52),       FIELD(ComInfo, remoteMode),
    FIELD(ComInfo, linkNo),         FIELD(ComInfo, hostMode),         FIELD(ComInfo, cycleDone),
    FIELD(ComInfo, hostHandle),
};

const Field kHostReadItem[] = {
    FIELD(HostReadItem, hostByte0), FIELD(HostReadItem, areaKind), FIELD(HostReadItem, station),
    FIELD(HostReadItem, hostByte3), FIELD(HostReadItem, addrText), FIELD(HostReadItem, name),
    FIELD(HostReadItem, count),
};

const Field kDriver[] = {
    FIELD(Matsushita_TCPIP_net, comInfo),        FIELD(Matsushita_TCPIP_net, lst_PollingReadVar),
    FIELD(Matsushita_TCPIP_net, lst_WriteVar),   FIELD(Matsushita_TCPIP_net, lst_OnceReadVar),
    FIELD(Matsushita_TCPIP_net, lst_ReserveVar), FIELD(Matsushita_TCPIP_net, lst_Protocol),
    FIELD(Matsushita_TCPIP_net, lst_ExtendVar),  FIELD(Matsushita_TCPIP_net, map_Station),
    FIELD(Matsushita_TCPIP_net, pfnReadFinish),  FIELD(Matsushita_TCPIP_net, pfnCommError),
    FIELD(Matsushita_TCPIP_net, mutexList),      FIELD(Matsushita_TCPIP_net, mutexArea),
    FIELD(Matsushita_TCPIP_net, mutexStation),   FIELD(Matsushita_TCPIP_net, retVar),
    FIELD(Matsushita_TCPIP_net, curReqKind),     FIELD(Matsushita_TCPIP_net, writeCount),
    FIELD(Matsushita_TCPIP_net, onceReadCount),  FIELD(Matsushita_TCPIP_net, pollReplyCount),
    FIELD(Matsushita_TCPIP_net, bCommFail),      FIELD(Matsushita_TCPIP_net, bReserve),
    FIELD(Matsushita_TCPIP_net, localT),         FIELD(Matsushita_TCPIP_net, localC),
    FIELD(Matsushita_TCPIP_net, localWX),        FIELD(Matsushita_TCPIP_net, localWY),
    FIELD(Matsushita_TCPIP_net, localWR),        FIELD(Matsushita_TCPIP_net, localWL),
    FIELD(Matsushita_TCPIP_net, localDT),        FIELD(Matsushita_TCPIP_net, localLD),
    FIELD(Matsushita_TCPIP_net, localFL),        FIELD(Matsushita_TCPIP_net, localSV),
    FIELD(Matsushita_TCPIP_net, localEV),
};

template <std::size_t N> void dump(std::ostream &out, const char *record, std::size_t size, const Field (&fields)[N])
{
    out << std::left << std::setw(32) << record << " size " << size << "\n";
    for (const Field &field : fields) {
        out << "    " << std::left << std::setw(20) << field.name << std::right << std::setw(8) << field.offset
            << std::setw(8) << field.size << "\n";
    }
    out << "\n";
}

std::string layoutOfThisTarget()
{
    std::ostringstream out;
    dump(out, "RW_VAR", sizeof(RW_VAR), kRwVar);
    dump(out, "Protocol", sizeof(Protocol), kProtocol);
    dump(out, "EXTENDVAR", sizeof(EXTENDVAR), kExtendVar);
    dump(out, "ComInfo", sizeof(ComInfo), kComInfo);
    dump(out, "HostReadItem", sizeof(HostReadItem), kHostReadItem);
    dump(out, "Matsushita_TCPIP_net", sizeof(Matsushita_TCPIP_net), kDriver);
    return out.str();
}

std::string fileOfThisTarget()
{
    std::string name = sizeof(void *) == 8 ? "64bit" : "32bit";
    if (QT_VERSION >= QT_VERSION_CHECK(6, 0, 0))
        name += "-qt6";
    return LAYOUT_DIR "/" + name + ".txt";
}

/// The file without its comment lines.
std::string checkedIn(const std::string &path)
{
    std::ifstream file(path);
    std::string text, line;
    while (std::getline(file, line)) {
        if (line.empty() || line[0] != '#')
            text += line + "\n";
    }
    return text;
}

template <std::size_t N> std::size_t bytesWithoutOverlap(const Field (&fields)[N])
{
    std::size_t end = 0, sum = 0;
    for (const Field &field : fields) {
        EXPECT_GE(field.offset, end) << field.name << " overlaps what stands before it";
        end = field.offset + field.size;
        sum += field.size;
    }
    return sum;
}

} // namespace

TEST(Layout, EveryOffsetAndSizeIsThatOfTheCheckedInDump)
{
    EXPECT_EQ(layoutOfThisTarget(), checkedIn(fileOfThisTarget())) << "compared with " << fileOfThisTarget();
}

TEST(Layout, EveryFieldOfARecordIsInTheDump)
{
    // Fields left out of the tables above would show as bytes that belong to none: only padding may.
    EXPECT_EQ(sizeof(RW_VAR), bytesWithoutOverlap(kRwVar));
    EXPECT_EQ(sizeof(Protocol), bytesWithoutOverlap(kProtocol));
    EXPECT_EQ(sizeof(ComInfo), bytesWithoutOverlap(kComInfo));
    EXPECT_LT(sizeof(EXTENDVAR) - bytesWithoutOverlap(kExtendVar), alignof(EXTENDVAR));
    EXPECT_LT(sizeof(HostReadItem) - bytesWithoutOverlap(kHostReadItem), 2 * alignof(HostReadItem));
    EXPECT_LT(sizeof(Matsushita_TCPIP_net) - bytesWithoutOverlap(kDriver), alignof(Matsushita_TCPIP_net));
}

TEST(Layout, ALocalAreaStartsRightBehindTheTwoFlags)
{
    EXPECT_EQ(offsetof(Matsushita_TCPIP_net, bCommFail) + 2, offsetof(Matsushita_TCPIP_net, localT));
    // Eleven areas one behind the other: 2 x 2,500 + 4 x 20,000 + 2,000,000 + 20,000 + 200,000 + 2 x 20,000 bytes.
    EXPECT_EQ(2345000u, offsetof(Matsushita_TCPIP_net, localEV) + sizeof(Matsushita_TCPIP_net::localEV) -
                            offsetof(Matsushita_TCPIP_net, localT));
}
