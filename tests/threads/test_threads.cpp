// test_threads.cpp - the driver between one communication thread and seven host threads.
//
//  - Every function that may be called from any thread is called by every host thread, at random, a million times in
//    all (FP_CALLS sets another number), while the communication thread exchanges frames with simulated PLCs.
//  - The rules of the interface are kept: set-up and AddListReadVar come before the communication thread.

#include "fresh_driver.h"

#include <plcsim/simulator.h>

#include <atomic>
#include <cstdlib>
#include <random>
#include <thread>

namespace
{

const int kHostThreads = 7;
const int kStations[] = {2, 5, 10};

class Threads : public FreshDriver
{
protected:
    Threads()
    {
        for (const int station : kStations)
            m_plc.addStation(plcsim::destinationOf(station), station);
    }

    static long callsPerThread()
    {
        const char *text = std::getenv("FP_CALLS");
        return (text ? std::atol(text) : 1000000) / kHostThreads + 1;
    }

    void communicate()
    {
        while (!m_stop) {
            const Protocol *request = ComCommunication();
            if (!request) {
                std::this_thread::yield();
                continue;
            }
            QByteArray reply = m_plc.answer(request->frame.left(request->frameLen));
            if (DataCom(&reply, int(reply.size()))->result == 1)
                ++m_good;
            else
                ++m_failed;
        }
    }

    /// Works until its calls are made. All values written are pairs of equal words, so that a torn pair shows.
    void host(unsigned seed)
    {
        std::mt19937 random(seed);
        const auto below = [&random](int limit) { return int(random() % unsigned(limit)); };
        QString name = QStringLiteral("screen");
        for (long call = 0; call < callsPerThread(); ++call) {
            const int station = kStations[below(3)];
            QString pair = QString::number(2 * below(50));
            switch (below(20)) {
            case 0:
                EnCommStation(station, below(8) == 0 ? 0 : 1);
                break;
            case 1:
                EXPECT_EQ(PLCAddressChangeIntef(KindR, QStringLiteral("12A")), 202);
                EXPECT_EQ(QueryFinishFlag(), 1);
                break;
            case 2: {
                RW_VAR read = variable(KindDT, 0, 2, station);
                read.addrText = pair;
                read.ownerId = int(seed);
                AddListOnceReadVar(&read, 0);
                break;
            }
            case 3: {
                RW_VAR write = variable(KindR, below(64), 1, station, QByteArray(1, char(below(2))));
                write.varFlag = 1;
                AddListWriteVar(&write, 0);
                break;
            }
            case 4:
            case 5: {
                const QByteArray word(1, char(below(256)));
                QByteArray values = word + word + word + word;
                SetRegisterData(&name, KindDT, &pair, station, &values, 2, int(seed), 1);
                break;
            }
            case 6:
                if (below(100) == 0)
                    replan(below(40) + 1);
                break;
            default: {
                QByteArray values;
                EXPECT_EQ(GetRegisterData(&name, KindDT, &pair, station, &values, 2), 1);
                if (values.left(2) != values.mid(2))
                    ++m_torn;
            }
            }
        }
        ++m_finished;
    }

    /// Polls the first pairs, two words each: a block holds whole pairs.
    static void replan(int pairs)
    {
        QList<HostReadItem> items;
        for (const int station : kStations)
            items.append(item(KindDT, "0", 2 * pairs, quint8(station)));
        ReCreatReadVarList(&items);
    }

    plcsim::Simulator m_plc;
    std::atomic<bool> m_stop{false};
    std::atomic<int> m_finished{0};
    std::atomic<long> m_torn{0}, m_good{0}, m_failed{0};
};

} // namespace

TEST_F(Threads, SevenHostThreadsAndTheCommunicationThreadNeitherTearValuesNorFail)
{
    for (const int several : {0, 1}) {
        info.multiStation = several;
        info.defaultStation = kStations[0];
        m_finished = 0;
        m_stop = false;
        replan(20);
        std::vector<std::thread> threads;
        threads.emplace_back([this] { communicate(); });
        for (int i = 0; i < kHostThreads; ++i)
            threads.emplace_back([this, i] { host(unsigned(i) + 1); });
        for (std::size_t i = 1; i < threads.size(); ++i)
            threads[i].join();
        m_stop = true;
        threads[0].join();
        EXPECT_EQ(m_finished, kHostThreads);
        EXPECT_GT(m_good, 0);
    }
    EXPECT_EQ(m_torn, 0);
    EXPECT_EQ(m_failed, 0);
    EXPECT_TRUE(commFailed().empty());
}
