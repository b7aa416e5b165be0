// driver_growth.cpp - see driver_growth.h.
//
//  - Within a family every text has the same number of digits, so that only the size differs.

#include "driver_growth.h"
#include "driver_exchanges.h"

#include <algorithm>
#include <cstring>
#include <random>

namespace
{

QString sixDigits(int number)
{
    return QStringLiteral("%1").arg(number, 6, 10, QLatin1Char('0'));
}

// Per-station cells ---------------------------------------------------------------------------------------------------

const int kCellStations = 10;
const int kCellBase = 100000;
const std::size_t kPicks = 4096; // random cells; a power of two

/// Stores one word of a random cell among \a cells and fetches it again, in multi-station mode.
class CellWords : public Scenario
{
public:
    explicit CellWords(int cells) : m_cells(cells), m_driver(LoadedDriver::MultiStation)
    {
        m_driver.info.hostMode = 0; // writes stay in the store
        const int perStation = cells / kCellStations;
        QByteArray values;
        QString base = QString::number(kCellBase);
        for (int station = 1; station <= kCellStations; ++station)
            m_driver.api.GetRegisterData(nullptr, KindDT, &base, station, &values, perStation);
        std::mt19937 random(1);
        for (std::size_t i = 0; i < kPicks; ++i)
            m_picks.push_back(
                {1 + int(random() % kCellStations), QString::number(kCellBase + int(random() % unsigned(perStation)))});
        run(long(kPicks)); // a cell's first value costs a little more, and in a small store all have theirs early
    }
    void run(long times) override
    {
        for (; times > 0; --times) {
            Pick &pick = m_picks[m_next++ % kPicks];
            m_written[0] = char(m_next);
            m_driver.api.SetRegisterData(&m_name, KindDT, &pick.address, pick.station, &m_written, 1, 0, 0);
            m_driver.api.GetRegisterData(&m_name, KindDT, &pick.address, pick.station, &m_read, 1);
            m_wrong += m_read[0] != m_written[0];
        }
    }
    void check() override
    {
        require(m_wrong == 0, "a cell does not hold what was stored");
        require(m_driver.object.lst_ExtendVar.size() == m_cells, "cells were made on the way");
    }

private:
    struct Pick {
        int station;
        QString address;
    };
    int m_cells;
    LoadedDriver m_driver;
    std::vector<Pick> m_picks;
    std::size_t m_next = 0;
    QString m_name;
    QByteArray m_written = QByteArray(2, '\0');
    QByteArray m_read = QByteArray(2, '\0');
    long m_wrong = 0;
};

/// A polled read of 16 words whose values go into cells, among \a cells others.
class CellReplies : public Scenario
{
public:
    explicit CellReplies(int cells) : m_driver(LoadedDriver::MultiStation)
    {
        QByteArray values;
        QString base = QString::number(kCellBase);
        for (int station = 1; station <= kCellStations; ++station)
            m_driver.api.GetRegisterData(nullptr, KindDT, &base, station, &values, cells / kCellStations);
        QList<HostReadItem> items;
        for (int station = 1; station <= kCellStations; ++station)
            items.append(pollingItem(KindDT, 0, 16, station));
        m_driver.api.ReCreatReadVarList(&items);
        m_cycle = std::make_unique<PollingCycle>(m_driver, kCellStations);
    }
    void run(long times) override { m_cycle->run(times); }
    void check() override
    {
        m_cycle->check();
        for (int station = 1; station <= kCellStations; ++station)
            requireStored(m_driver, KindDT, station, 0, 16);
    }

private:
    LoadedDriver m_driver;
    std::unique_ptr<PollingCycle> m_cycle;
};

// The rebuild of the polling list -------------------------------------------------------------------------------------

/// Plans \a items items in random order; on average every fifth word is asked for, whatever their number.
class Rebuild : public Scenario
{
public:
    Rebuild(LoadedDriver::Mode mode, int items) : m_driver(mode)
    {
        std::mt19937 random(1);
        for (int i = 0; i < items; ++i) {
            HostReadItem item = pollingItem(KindDT, 0, 1 + int(random() % 3), 1 + int(random() % kCellStations));
            item.addrText = sixDigits(int(random() % unsigned(items * 10)));
            m_items.append(item);
        }
    }
    void run(long times) override
    {
        for (; times > 0; --times)
            m_blocks = m_driver.api.ReCreatReadVarList(&m_items);
    }
    void check() override
    {
        require(m_blocks > m_items.size() / 4 && m_blocks <= m_items.size(), "the plan has an odd number of blocks");
        require(m_driver.object.lst_PollingReadVar.size() == m_blocks, "the polling list is not the plan");
    }

private:
    LoadedDriver m_driver;
    QList<HostReadItem> m_items;
    int m_blocks = 0;
};

// Runs of words -------------------------------------------------------------------------------------------------------

const int kRunStart = 1000;

/// GetRegisterData of \a words words into an array that has room for them.
class FetchWords : public Scenario
{
public:
    explicit FetchWords(int words) : m_words(words), m_driver(LoadedDriver::SingleStation), m_out(2 * words, '\0')
    {
        for (int i = 0; i < words; ++i)
            m_driver.object.localDT[kRunStart + i] = quint16(i * 7 + 1);
    }
    void run(long times) override
    {
        for (; times > 0; --times)
            m_driver.api.GetRegisterData(nullptr, KindDT, &m_address, 1, &m_out, m_words);
    }
    void check() override
    {
        for (int i = 0; i < m_words; ++i)
            require(quint8(m_out[2 * i]) + 256 * quint8(m_out[2 * i + 1]) == quint16(i * 7 + 1), "a wrong word");
    }

private:
    int m_words;
    LoadedDriver m_driver;
    QString m_address = QString::number(kRunStart);
    QByteArray m_out;
};

/// SetRegisterData of \a words words into the local store.
class StoreWords : public Scenario
{
public:
    explicit StoreWords(int words) : m_words(words), m_driver(LoadedDriver::SingleStation)
    {
        m_driver.info.hostMode = 0;
        for (int i = 0; i < words; ++i)
            m_data.append(char(i)).append(char(i >> 8));
    }
    void run(long times) override
    {
        for (; times > 0; --times)
            m_driver.api.SetRegisterData(&m_name, KindDT, &m_address, 1, &m_data, m_words, 0, 0);
    }
    void check() override
    {
        for (int i = 0; i < m_words; ++i)
            require(m_driver.object.localDT[kRunStart + i] == quint16(i), "a wrong word");
    }

private:
    int m_words;
    LoadedDriver m_driver;
    QString m_name;
    QString m_address = QString::number(kRunStart);
    QByteArray m_data;
};

/// What the two above are compared to: memcpy of the same bytes, out of the driver's own area.
class CopyBytes : public Scenario
{
public:
    explicit CopyBytes(int words) : m_driver(LoadedDriver::SingleStation), m_out(2 * words, '\0')
    {
        for (int i = 0; i < words; ++i)
            m_driver.object.localDT[kRunStart + i] = quint16(i * 7 + 1);
    }
    void run(long times) override
    {
        for (; times > 0; --times) {
            std::memcpy(m_out.data(), m_driver.object.localDT + kRunStart, std::size_t(m_out.size()));
            asm volatile("" : : "r"(m_out.constData()) : "memory"); // each copy counts, also for the optimiser
        }
    }
    void check() override { require(m_out[0] == '\1', "nothing was copied"); }

private:
    LoadedDriver m_driver;
    QByteArray m_out;
};

// The write list ------------------------------------------------------------------------------------------------------

const int kListLimit = 1024;
const int kWordsPerWrite = 16;

/// SetRegisterData of as many words as fill the empty write list with pieces of 16.
class FillWriteList : public Scenario
{
public:
    FillWriteList() : m_driver(LoadedDriver::SingleStation) {}
    void run(long times) override
    {
        for (; times > 0; --times) {
            m_driver.object.lst_WriteVar.clear();
            m_length = m_driver.api.SetRegisterData(&m_name, KindDT, &m_address, 1, &m_data,
                                                    kListLimit * kWordsPerWrite, 1, 1);
        }
    }
    void check() override { require(m_length == kListLimit, "the write list is not full"); }

private:
    LoadedDriver m_driver;
    QString m_name;
    QString m_address = QStringLiteral("0");
    QByteArray m_data = QByteArray(2 * kListLimit * kWordsPerWrite, '\1');
    int m_length = 0;
};

/// AddListWriteVar of one word while \a waiting writes to other words wait; to a new word, or to that of the last.
class QueueOnto : public Scenario
{
public:
    QueueOnto(int waiting, bool replaces) : m_waiting(waiting), m_driver(LoadedDriver::SingleStation)
    {
        m_var.areaKind = KindDT;
        m_var.station = m_var.count = m_var.varFlag = 1;
        m_var.data = QByteArray(2, '\1');
        for (m_var.address = 0; m_var.address < waiting; ++m_var.address)
            m_driver.api.AddListWriteVar(&m_var, 0);
        m_var.address -= replaces;
    }
    void run(long times) override
    {
        for (; times > 0; --times)
            m_length = m_driver.api.AddListWriteVar(&m_var, 0);
    }
    void check() override { require(m_length == m_waiting, "the write list has changed its length"); }

private:
    int m_waiting;
    LoadedDriver m_driver;
    RW_VAR m_var;
    int m_length = 0;
};

template <typename Made, typename... Args> std::function<std::unique_ptr<Scenario>()> maker(Args... args)
{
    return [=] { return std::make_unique<Made>(args...); };
}

} // namespace

void addGrowthScenarios(std::vector<NamedScenario> &all)
{
    for (const int cells : {100, 1000, 10000, 100000, 1000000}) {
        const std::string size = std::to_string(cells);
        all.push_back({"cells/word/" + size, 1000, true, maker<CellWords>(cells)});
        all.push_back({"cells/RD 16 words/" + size, 1000, true, maker<CellReplies>(cells)});
    }
    for (const int items : {100, 1000, 10000, 100000}) {
        const std::string size = std::to_string(items);
        const long batch = std::max(1, 20000 / items); // the allocator's work differs from run to run
        all.push_back({"rebuild/one station/" + size, batch, true, maker<Rebuild>(LoadedDriver::SingleStation, items)});
        all.push_back({"rebuild/stations/" + size, batch, true, maker<Rebuild>(LoadedDriver::MultiStation, items)});
    }
    for (const int words : {1, 10, 100, 1000, 10000, 100000}) {
        const std::string size = std::to_string(words);
        const long batch = std::max(1, 1000 / words);
        all.push_back({"GetRegisterData/" + size, batch, true, maker<FetchWords>(words)});
        all.push_back({"SetRegisterData/" + size, batch, true, maker<StoreWords>(words)});
        all.push_back({"memcpy/" + size, batch, true, maker<CopyBytes>(words)});
    }
    all.push_back({"write list/fill with 1024", 1, true, maker<FillWriteList>()});
    all.push_back({"write list/replace the last of 2", 100, true, maker<QueueOnto>(2, true)});
    all.push_back({"write list/replace the last of 1024", 100, true, maker<QueueOnto>(kListLimit, true)});
    all.push_back({"write list/refuse behind 1024", 100, true, maker<QueueOnto>(kListLimit, false)});
}
