// variables_and_frames.h - what the unit tests of lists and frame builders share: whole variables as text, the frames
// that were built, and the locks that a routine takes or leaves alone.

#ifndef VARIABLES_AND_FRAMES_H
#define VARIABLES_AND_FRAMES_H

#include "fresh_driver.h"

#include <chrono>
#include <future>
#include <sstream>

/// Every field of \a var in one line, so that two records are compared whole and a difference shows its field.
inline std::string described(const RW_VAR &var)
{
    std::ostringstream line;
    line << "ownerId " << var.ownerId << ", ownerTag " << var.ownerTag << ", varFlag " << var.varFlag << ", remoteMode "
         << var.remoteMode << ", linkNo " << var.linkNo << ", result " << var.result << ", name "
         << var.name.toStdString() << ", addrText " << var.addrText.toStdString() << ", areaKind " << var.areaKind
         << ", address " << var.address << ", station " << var.station << ", count " << var.count << ", extra1 "
         << var.extra1 << ", extra2 " << var.extra2 << ", data " << var.data.toHex().toStdString();
    return line.str();
}

inline std::vector<std::string> described(const QList<RW_VAR> &list)
{
    std::vector<std::string> lines;
    for (const RW_VAR &var : list)
        lines.push_back(described(var));
    return lines;
}

/// A variable in which no two fields have the same value, so that a field copied from the wrong place shows.
inline RW_VAR distinctVariable()
{
    RW_VAR var;
    var.ownerId = 101;
    var.ownerTag = 102;
    var.varFlag = 103;
    var.remoteMode = 104;
    var.linkNo = 105;
    var.result = 106;
    var.name = QString::fromLatin1("boiler");
    var.addrText = QString::fromLatin1("107");
    var.areaKind = KindDT;
    var.address = 108;
    var.station = 3;
    var.count = 2;
    var.extra1 = 109;
    var.extra2 = 110;
    var.data = QByteArray("\x01\x02\x03\x04", 4);
    return var;
}

/// Sets the two fields of ComInfo that a builder announces its frames in to values that no builder writes.
inline void forgetAnnouncement(ComInfo &info)
{
    info.framesTotal = 55;
    info.framesDone = 44;
}

/// What ComInfo says of the request in flight: frames in all, frames answered.
struct Announcement {
    qint32 framesTotal, framesDone;
    bool operator==(const Announcement &o) const { return framesTotal == o.framesTotal && framesDone == o.framesDone; }
    friend std::ostream &operator<<(std::ostream &out, const Announcement &a)
    {
        return out << a.framesTotal << " frames, " << a.framesDone << " answered";
    }
};

inline Announcement announced(const ComInfo &info)
{
    return Announcement{info.framesTotal, info.framesDone};
}

constexpr Announcement kNothingAnnounced = {55, 44};
constexpr Announcement kOneFrame = {1, 0};
constexpr Announcement kThreeFrames = {3, 0};

/// What a Protocol says of the reply.
struct ExpectedReply {
    qint32 replyLen, dataPos, dataLen;
    bool operator==(const ExpectedReply &o) const
    {
        return replyLen == o.replyLen && dataPos == o.dataPos && dataLen == o.dataLen;
    }
    friend std::ostream &operator<<(std::ostream &out, const ExpectedReply &r)
    {
        return out << "replyLen " << r.replyLen << ", dataPos " << r.dataPos << ", dataLen " << r.dataLen;
    }
};

inline ExpectedReply replyOf(const Protocol &request)
{
    return ExpectedReply{request.replyLen, request.dataPos, request.dataLen};
}

constexpr ExpectedReply kNoReply = {0, 0, 0};
constexpr ExpectedReply kAcknowledgement = {9, 0, 0};

/// A fresh driver with nothing announced, and the frames that were built since.
class FrameBuilders : public FreshDriver
{
protected:
    FrameBuilders() { forgetAnnouncement(info); }

    /// The bytes that the host would send, frame by frame.
    std::vector<std::string> frames() const
    {
        std::vector<std::string> built;
        for (const Protocol &queued : PLC_driver.lst_Protocol) {
            EXPECT_EQ(queued.frameLen, sizeOf(queued.frame)) << "a frame has exactly the bytes to send";
            built.push_back(text(queued.frame.left(queued.frameLen)));
        }
        return built;
    }

    /// The only frame that was built.
    std::string frame() const
    {
        const std::vector<std::string> built = frames();
        EXPECT_EQ(built.size(), 1u);
        return built.size() == 1 ? built[0] : std::string();
    }

    const Protocol &request(int index = 0) const { return PLC_driver.lst_Protocol.at(index); }
    ExpectedReply reply(int index = 0) const { return replyOf(request(index)); }
};

/// True if \a call comes back while somebody else holds \a mutex; it has come back in any case when this returns.
template <typename Call> bool endsWithoutLock(QMutex &mutex, std::chrono::milliseconds patience, Call call)
{
    mutex.lock();
    std::future<void> ended = std::async(std::launch::async, call);
    const bool cameBack = ended.wait_for(patience) == std::future_status::ready;
    mutex.unlock();
    ended.get();
    return cameBack;
}

/// \a call does not take \a mutex. Five seconds are long enough for a loaded machine; a call that takes no lock ends at
/// once.
template <typename Call> bool takesNoLock(QMutex &mutex, Call call)
{
    return endsWithoutLock(mutex, std::chrono::seconds(5), call);
}

/// \a call waits for \a mutex and leaves it free.
template <typename Call> bool takesLock(QMutex &mutex, Call call)
{
    if (endsWithoutLock(mutex, std::chrono::milliseconds(30), call))
        return false;
    const bool free = mutex.tryLock();
    if (free)
        mutex.unlock();
    return free;
}

/// None of the driver's locks is held.
inline bool allLocksAreFree()
{
    QMutex *mutexes[] = {&PLC_driver.mutexList, &PLC_driver.mutexArea, &PLC_driver.mutexStation};
    for (QMutex *mutex : mutexes) {
        if (!mutex->tryLock())
            return false;
        mutex->unlock();
    }
    return true;
}

#endif
