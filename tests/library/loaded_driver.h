// loaded_driver.h - the built library, loaded at run time and reached through its exported names alone, as a host does.
//
//  - LoadedDriver resolves every exported name; the types come from the public headers, nothing is linked.
//  - LoadedLibrary is a fixture with a freshly loaded driver, settings for one station (number 1) and callbacks that
//    record their calls. It speaks for the PLC: next() is the request that goes out, answer() hands a reply in.
//  - Everything here is C++14 and Qt 4.8, so that it can be built with each Qt that the library can be built with.

#ifndef LOADED_DRIVER_H
#define LOADED_DRIVER_H

#include "matsushita_tcpip_net.h"

#include <gtest/gtest.h>

#include <dlfcn.h>

#include <cstdio>
#include <stdexcept>
#include <string>
#include <vector>

#define EXPORTED_FUNCTIONS(X)                                                                                          \
    X(SetComInfo)                                                                                                      \
    X(RegistCallBackFuncIntf)                                                                                          \
    X(FlashLocalRegister)                                                                                              \
    X(QueryFinishFlag)                                                                                                 \
    X(PLCAddressChangeIntef)                                                                                           \
    X(EnCommStation)                                                                                                   \
    X(ComCommunication)                                                                                                \
    X(DataCom)                                                                                                         \
    X(AddListReadVar)                                                                                                  \
    X(AddListWriteVar)                                                                                                 \
    X(AddListOnceReadVar)                                                                                              \
    X(ReCreatReadVarList)                                                                                              \
    X(GetRegisterData)                                                                                                 \
    X(SetRegisterData)

#define EXPORTED_OBJECTS(X)                                                                                            \
    X(PLC_driver)                                                                                                      \
    X(qmap_list)                                                                                                       \
    X(qmap_length)                                                                                                     \
    X(map_bit)                                                                                                         \
    X(map_word)                                                                                                        \
    X(LB)                                                                                                              \
    X(LW)                                                                                                              \
    X(RWI)

/// One loading of the library; unloads it when it goes. Every member is the address of the exported name it is called
/// after.
class LoadedDriver
{
public:
    /// \throw std::runtime_error if the library or one of its names cannot be found
    explicit LoadedDriver(int flags = RTLD_LAZY | RTLD_LOCAL) : m_library(dlopen(DRIVER_LIBRARY, flags))
    {
        if (!m_library)
            throw std::runtime_error(dlerror());
#define RESOLVE(name) name = reinterpret_cast<decltype(name)>(resolve(#name));
        EXPORTED_FUNCTIONS(RESOLVE)
        EXPORTED_OBJECTS(RESOLVE)
#undef RESOLVE
    }
    ~LoadedDriver()
    {
        dlclose(m_library);
    }
    LoadedDriver(const LoadedDriver &) = delete;
    LoadedDriver &operator=(const LoadedDriver &) = delete;

#define MEMBER(name) decltype(&::name) name;
    EXPORTED_FUNCTIONS(MEMBER)
    EXPORTED_OBJECTS(MEMBER)
#undef MEMBER

private:
    void *resolve(const char *name) const
    {
        void *address = dlsym(m_library, name);
        if (!address)
            throw std::runtime_error(std::string("the library has no ") + name);
        return address;
    }

    void *m_library;
};

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

class LoadedLibrary : public ::testing::Test
{
protected:
    LoadedLibrary()
    {
        readFinished().clear();
        commFailed().clear();
        info.maxWordsPerWrite = 16;
        info.defaultStation = 1;
        info.retryLimit = 2;
        info.hostMode = 2;
        info.hostHandle = 77;
        lib.SetComInfo(&info);
        lib.RegistCallBackFuncIntf(&LoadedLibrary::onReadFinished, &LoadedLibrary::onCommFailed);
    }

    // What a host's set-up does ----------------------------------------------------------------------------------

    static HostReadItem item(quint8 kind, const char *addrText, qint32 count, quint8 station = 1)
    {
        HostReadItem made;
        made.areaKind = kind;
        made.addrText = QString::fromLatin1(addrText);
        made.count = count;
        made.station = station;
        return made;
    }

    int poll(const std::vector<HostReadItem> &items)
    {
        QList<HostReadItem> list;
        for (const HostReadItem &each : items)
            list.append(each);
        return lib.ReCreatReadVarList(&list);
    }

    // What its screens do ----------------------------------------------------------------------------------------

    int write(int kind, const char *addrText, const std::string &values, int count, int station = 1, int ownerId = 0,
              int ownerTag = 0)
    {
        QString name = QString::fromLatin1("written");
        QString text = QString::fromLatin1(addrText);
        QByteArray data = bytes(values);
        return lib.SetRegisterData(&name, kind, &text, station, &data, count, ownerId, ownerTag);
    }

    /// The values as bytes, from an empty array on.
    std::string read(int kind, const char *addrText, int count, int station = 1)
    {
        QString text = QString::fromLatin1(addrText);
        QByteArray values;
        EXPECT_EQ(1, lib.GetRegisterData(nullptr, kind, &text, station, &values, count));
        return string(values);
    }

    /// Queues a one-shot read; returns the length of the one-shot list.
    int readOnce(int kind, const char *addrText, int count, int ownerId = 3, int ownerTag = 4, int station = 1)
    {
        RW_VAR var;
        var.ownerId = ownerId;
        var.ownerTag = ownerTag;
        var.areaKind = kind;
        var.addrText = QString::fromLatin1(addrText);
        var.count = count;
        var.station = station;
        var.linkNo = info.linkNo;
        return lib.AddListOnceReadVar(&var, 0);
    }

    // What its communication thread does -------------------------------------------------------------------------

    /// The bytes that go out next; empty when there is nothing to send.
    std::string next()
    {
        request = lib.ComCommunication();
        return request ? string(request->frame.left(request->frameLen)) : std::string();
    }

    /// Hands a reply in; returns the result code.
    int answer(const std::string &reply)
    {
        QByteArray received = bytes(reply);
        result = lib.DataCom(&received, sizeOf(received));
        return result->result;
    }

    /// The time-out has passed and nothing came.
    int noAnswer() { return answer(std::string()); }

    static QByteArray bytes(const std::string &text) { return QByteArray(text.data(), int(text.size())); }
    static std::string string(const QByteArray &some)
    {
        return std::string(some.constData(), std::size_t(some.size()));
    }
    /// "16 00 0A": for what is not text.
    static std::string hex(const std::string &some)
    {
        std::string out;
        for (const char c : some) {
            char digits[4];
            std::snprintf(digits, sizeof digits, "%02X", static_cast<unsigned>(static_cast<unsigned char>(c)));
            out += out.empty() ? digits : std::string(" ") + digits;
        }
        return out;
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

    LoadedDriver lib;
    ComInfo info;
    const Protocol *request = nullptr; ///< what next() got
    const RW_VAR *result = nullptr;    ///< what answer() got

private:
    static void onReadFinished(qint32 hostHandle, qint32 ownerId, qint32 ownerTag, qint32 status)
    {
        readFinished().push_back({hostHandle, ownerId, ownerTag, status});
    }
    static void onCommFailed(QList<RW_VAR> *list, qint32 ownerId, qint32 reason)
    {
        commFailed().push_back({list && list->isEmpty(), ownerId, reason});
    }
};

#endif
