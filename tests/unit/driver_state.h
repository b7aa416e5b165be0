// driver_state.h - what the driver's store and lists hold, as text that a test can state literally.
//
//  - Looks only, and takes no lock: call it when no other thread works on the driver.
//  - Whole contents are compared, so a value that landed in a wrong place shows too.

#ifndef DRIVER_STATE_H
#define DRIVER_STATE_H

#include "matsushita_tcpip_net.h"

#include <cstdio>
#include <string>
#include <utility>

/// "34 12" for the two bytes 0x34 0x12.
inline std::string hex(const QByteArray &bytes)
{
    return bytes.toHex(' ').toStdString();
}

/// The two bytes 0x34 0x12 for "34 12".
inline QByteArray bytesOf(const char *hexText)
{
    return QByteArray::fromHex(QByteArray(hexText));
}

/// A local area under the name that its words have in the text of storedWords.
struct NamedArea {
    const char *name;
    const quint16 *words;
    int count;
};

/// Every word of the local areas that is not zero: "DT100=1234 LD0=00ff"; "" while all are zero.
inline std::string storedWords()
{
    const NamedArea areas[] = {
        {"T", PLC_driver.localT, 1250},      {"C", PLC_driver.localC, 1250},    {"WX", PLC_driver.localWX, 10000},
        {"WY", PLC_driver.localWY, 10000},   {"WR", PLC_driver.localWR, 10000}, {"WL", PLC_driver.localWL, 10000},
        {"DT", PLC_driver.localDT, 1000000}, {"LD", PLC_driver.localLD, 10000}, {"FL", PLC_driver.localFL, 100000},
        {"SV", PLC_driver.localSV, 10000},   {"EV", PLC_driver.localEV, 10000},
    };
    std::string all;
    for (const NamedArea &area : areas) {
        for (int i = 0; i < area.count; ++i) {
            if (area.words[i] == 0)
                continue;
            char value[8];
            std::snprintf(value, sizeof value, "=%04x", unsigned(area.words[i]));
            all += (all.empty() ? "" : " ") + std::string(area.name) + std::to_string(i) + value;
        }
    }
    return all;
}

/// The per-station cells in their order, station:kind:word=bytes: "3:8:20=34 12, 3:8:21=00 00 00 00".
inline std::string cells()
{
    std::string all;
    const QList<EXTENDVAR> &kept = PLC_driver.lst_ExtendVar;
    for (const EXTENDVAR &cell : kept) {
        all += (all.empty() ? "" : ", ") + std::to_string(cell.station) + ":" + std::to_string(cell.areaKind) + ":" +
               std::to_string(cell.address) + "=" + hex(cell.data);
    }
    return all;
}

/// Appends a cell behind the driver's back.
inline void appendCell(qint32 station, qint32 areaKind, qint32 address, const char *hexData)
{
    EXTENDVAR cell;
    cell.station = station;
    cell.areaKind = areaKind;
    cell.address = address;
    cell.data = bytesOf(hexData);
    PLC_driver.lst_ExtendVar.append(cell);
}

#endif
