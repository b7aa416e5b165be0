// fresh_driver.h - a driver in the state that it has after loading, for tests that are linked with the driver's
// objects.
//
//  - Each test of the fixture starts with a newly constructed PLC_driver, empty globals, its own ComInfo (one station,
//    number 1, good settings) and callbacks that record their calls.

#ifndef FRESH_DRIVER_H
#define FRESH_DRIVER_H

#include "matsushita_tcpip_net.h"

#include <gtest/gtest.h>

#include <new>
#include <string>
#include <vector>

struct ReadFinished {
    qint32 hostHandle, ownerId, ownerTag, status;
    bool operator==(const ReadFinished &o) const
    {
        return hostHandle == o.hostHandle && ownerId == o.ownerId && ownerTag == o.ownerTag && status == o.status;
    }
};
struct CommFailed {
    bool listWasEmpty;
    qint32 ownerId, reason;
    bool operator==(const CommFailed &o) const
    {
        return listWasEmpty == o.listWasEmpty && ownerId == o.ownerId && reason == o.reason;
    }
};

class FreshDriver : public ::testing::Test
{
protected:
    FreshDriver()
    {
        // comInfo and the callbacks are set below, so nothing of the former test is left.
        PLC_driver.~Matsushita_TCPIP_net();
        new (&PLC_driver) Matsushita_TCPIP_net;
        qmap_list.clear();
        qmap_length = 0;
        LB = LW = RWI = 0;
        readFinished().clear();
        commFailed().clear();
        info.maxWordsPerWrite = 16;
        info.defaultStation = 1;
        info.retryLimit = 2;
        info.hostMode = 2;
        info.hostHandle = 77;
        SetComInfo(&info);
        RegistCallBackFuncIntf(&FreshDriver::onReadFinished, &FreshDriver::onCommFailed);
    }
    ~FreshDriver() override { SetComInfo(&afterTests()); }

    /// A word variable as a host makes it: DT100, one word, station 1, unless told otherwise.
    static RW_VAR variable(qint32 kind = KindDT, qint32 address = 100, qint32 count = 1, qint32 station = 1,
                           const QByteArray &data = QByteArray())
    {
        RW_VAR var;
        var.areaKind = kind;
        var.address = address;
        var.addrText = QString::number(address);
        var.count = count;
        var.station = station;
        var.data = data;
        return var;
    }

    static HostReadItem item(quint8 kind, const char *addrText, qint32 count, quint8 station = 1)
    {
        HostReadItem item;
        item.areaKind = kind;
        item.addrText = QString::fromLatin1(addrText);
        item.count = count;
        item.station = station;
        return item;
    }

    static std::string text(const QByteArray &bytes)
    {
        return std::string(bytes.constData(), std::size_t(bytes.size()));
    }

    static std::vector<ReadFinished> &readFinished()
    {
        static std::vector<ReadFinished> calls;
        return calls;
    }
    static std::vector<CommFailed> &commFailed()
    {
        static std::vector<CommFailed> calls;
        return calls;
    }

    ComInfo info;

private:
    static void onReadFinished(qint32 hostHandle, qint32 ownerId, qint32 ownerTag, qint32 status)
    {
        readFinished().push_back({hostHandle, ownerId, ownerTag, status});
    }
    static void onCommFailed(QList<RW_VAR> *list, qint32 ownerId, qint32 reason)
    {
        commFailed().push_back({list && list->isEmpty(), ownerId, reason});
    }
    static ComInfo &afterTests()
    {
        static ComInfo unused;
        return unused;
    }
};

#endif
