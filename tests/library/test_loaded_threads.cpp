// test_loaded_threads.cpp - one communication thread and several host threads at work on the loaded library.
//
//  - The host keeps its side of the contract: only one thread calls ComCommunication and DataCom, and AddListReadVar is
//    not called while it runs.
//  - Every writer writes pairs of equal words, so a pair of different words anywhere is a torn value.

#include "loaded_driver.h"

#include <atomic>
#include <cstdlib>
#include <map>
#include <thread>

namespace
{

const int kWriters = 3;
const int kRounds = 200;

/// A PLC with data registers only: RD, WD, MD and MG of any station, each with 2,000 words of its own.
class RegisterPlc
{
public:
    std::string answer(const std::string &request)
    {
        const std::string destination = request.substr(1, 2);
        Station &station = m_stations[destination];
        const std::string command = request.substr(4, 2);
        std::string data;
        if (command == "RD")
            data = words(station, number(request, 7, 5), number(request, 12, 5));
        else if (command == "WD")
            store(station, number(request, 7, 5), request.substr(17, request.size() - 20));
        else if (command == "MD")
            registerItems(station, request.substr(6, request.size() - 9));
        else if (command == "MG")
            data = monitored(station);
        else
            ADD_FAILURE() << "unexpected request " << request;
        return closed("%" + destination + "$" + command + data);
    }

    int word(const std::string &destination, int address)
    {
        return m_stations[destination].memory.at(std::size_t(address));
    }

private:
    struct Station {
        Station() : memory(2000, 0) {}
        std::vector<int> memory;
        std::vector<int> registered;
    };

    static int number(const std::string &text, std::size_t at, std::size_t digits)
    {
        return std::atoi(text.substr(at, digits).c_str());
    }
    static std::string wordText(int word)
    {
        char text[5];
        std::snprintf(text, sizeof text, "%02X%02X", static_cast<unsigned>(word) & 0xFF,
                      static_cast<unsigned>(word) >> 8 & 0xFF);
        return text;
    }
    static std::string words(const Station &station, int first, int last)
    {
        std::string text;
        for (int i = first; i <= last; ++i)
            text += wordText(station.memory.at(std::size_t(i)));
        return text;
    }
    static void store(Station &station, int first, const std::string &text)
    {
        for (std::size_t i = 0; i + 3 < text.size(); i += 4) {
            const std::string highFirst = text.substr(i + 2, 2) + text.substr(i, 2);
            station.memory.at(std::size_t(first) + i / 4) = int(std::strtol(highFirst.c_str(), nullptr, 16));
        }
    }
    static void registerItems(Station &station, const std::string &items)
    {
        station.registered.clear();
        if (items == "FFFFFF")
            return;
        for (std::size_t i = 0; i + 5 < items.size(); i += 6) // D and five digits
            station.registered.push_back(number(items, i + 1, 5));
    }
    static std::string monitored(const Station &station)
    {
        const std::string chars = std::to_string(4 * station.registered.size());
        std::string text = "100" + std::string(chars.size() < 2 ? "0" : "") + chars;
        for (const int address : station.registered)
            text += wordText(station.memory.at(std::size_t(address)));
        return text;
    }
    static std::string closed(const std::string &text)
    {
        unsigned check = 0;
        for (const char c : text)
            check ^= static_cast<unsigned char>(c);
        char tail[4];
        std::snprintf(tail, sizeof tail, "%02X\r", check);
        return text + tail;
    }

    std::map<std::string, Station> m_stations;
};

/// Calls of the read-finished callback by status.
struct Finished {
    static std::atomic<int> &good()
    {
        static std::atomic<int> count(0);
        return count;
    }
    static std::atomic<int> &bad()
    {
        static std::atomic<int> count(0);
        return count;
    }
    static void called(qint32, qint32, qint32, qint32 status) { ++(status == 1 ? good() : bad()); }
};

class LoadedThreads : public LoadedLibrary
{
protected:
    LoadedThreads()
    {
        Finished::good() = 0;
        Finished::bad() = 0;
        lib.RegistCallBackFuncIntf(&Finished::called, [](QList<RW_VAR> *, qint32, qint32) {});
    }

    /// One request and its answer. \return false if there was nothing to send
    bool exchange()
    {
        const Protocol *const sent = lib.ComCommunication();
        if (!sent)
            return false;
        QByteArray reply = bytes(plc.answer(string(sent->frame.left(sent->frameLen))));
        const RW_VAR *const answered = lib.DataCom(&reply, sizeOf(reply));
        if (answered->result != 1)
            ++badReplies;
        return true;
    }

    static std::string addressOf(int writer) { return std::to_string(1000 + 10 * writer); }

    void writePairs(int writer, int station)
    {
        for (int round = 1; round <= kRounds; ++round) {
            const char low = char(round & 0x7F), high = char(round >> 7);
            if (write(KindDT, addressOf(writer).c_str(), {low, high, low, high}, 2, station, writer, round) < 1)
                ++refused;
            checkPair(writer, station);
        }
    }

    void checkPair(int writer, int station)
    {
        const std::string pair = read(KindDT, addressOf(writer).c_str(), 2, station);
        if (pair.size() != 4 || pair.substr(0, 2) != pair.substr(2, 2))
            ++torn;
    }

    void planAnew(bool multi)
    {
        std::vector<HostReadItem> items;
        for (int writer = 0; writer < kWriters; ++writer) {
            const std::string text = addressOf(writer);
            items.push_back(item(KindDT, text.c_str(), 2, quint8(multi ? writer + 1 : 1)));
        }
        items.push_back(item(KindDT, "100", 40));
        for (int round = 0; round < kRounds; ++round) {
            if (poll(items) < 4)
                ++refused;
        }
    }

    void askOnce()
    {
        for (int round = 0; round < kRounds; ++round) {
            if (readOnce(KindDT, "200", 16, 3, round) < 1)
                ++refused;
            lib.EnCommStation(9, round % 2);
            if (lib.QueryFinishFlag() != 1 || lib.PLCAddressChangeIntef(KindR, QString::fromLatin1("10F")) != 175)
                ++refused;
        }
    }

    void runAll(bool multi)
    {
        info.multiStation = multi ? 1 : 0;
        std::atomic<bool> stop(false);
        std::thread communication([&] {
            while (!stop) {
                if (!exchange())
                    std::this_thread::yield();
            }
        });
        std::vector<std::thread> hosts;
        for (int writer = 0; writer < kWriters; ++writer)
            hosts.emplace_back([this, writer, multi] { writePairs(writer, multi ? writer + 1 : 1); });
        hosts.emplace_back([this, multi] { planAnew(multi); });
        hosts.emplace_back([this] { askOnce(); });
        hosts.emplace_back([this, multi] {
            for (int round = 0; round < 10 * kRounds; ++round)
                checkPair(round % kWriters, multi ? round % kWriters + 1 : 1);
        });
        for (std::thread &host : hosts)
            host.join();
        stop = true;
        communication.join();
        // What is still queued, and one polling cycle behind it.
        while (!lib.PLC_driver->lst_WriteVar.isEmpty() || !lib.PLC_driver->lst_OnceReadVar.isEmpty() ||
               !lib.PLC_driver->lst_Protocol.isEmpty())
            exchange();
        info.cycleDone = 0;
        for (int i = 0; i < 1000 && !info.cycleDone; ++i)
            exchange();
    }

    void expectTheLastPairEverywhere(bool multi)
    {
        EXPECT_EQ(0, torn);
        EXPECT_EQ(0, refused);
        EXPECT_EQ(0, badReplies);
        EXPECT_EQ(kRounds, Finished::good());
        EXPECT_EQ(0, Finished::bad());
        for (int writer = 0; writer < kWriters; ++writer) {
            const std::string destination = multi ? "0" + std::to_string(writer + 1) : "01";
            // 200 = 1 x 128 + 72, so the last pair is 0x48, 0x01 twice.
            EXPECT_EQ(0x0148, plc.word(destination, 1000 + 10 * writer));
            EXPECT_EQ(0x0148, plc.word(destination, 1001 + 10 * writer));
            EXPECT_EQ("48 01 48 01", hex(read(KindDT, addressOf(writer).c_str(), 2, multi ? writer + 1 : 1)));
        }
    }

    RegisterPlc plc; // the communication thread's
    std::atomic<int> torn{0}, refused{0}, badReplies{0};
};

} // namespace

TEST_F(LoadedThreads, ValuesAreNeverTornAndNothingIsLostWithOneStation)
{
    runAll(false);
    expectTheLastPairEverywhere(false);
}

TEST_F(LoadedThreads, ValuesAreNeverTornAndNothingIsLostWithSeveralStations)
{
    runAll(true);
    expectTheLastPairEverywhere(true);
}
