// driver_exchanges.cpp - the exchanges of a host's day, in memory: reads, monitor reads and writes.

#include "driver_exchanges.h"
#include "fixed_answers.h"

#include <random>
#include <set>
#include <string>

namespace
{

const int kBlockWords = 16;
const int kBlocks = 10;
const int kBlockDistance = 500; // more than the planner bridges
const int kScattered = 14;      // single words that one monitor request takes
const int kScatterDistance = 20;
const int kStations = 2; // of the multi-station runs
const long kBatch = 1000;
const std::size_t kScatteredTags = 1000;
const unsigned kScatteredOver = 10000;

FixedAnswers &answers()
{
    static FixedAnswers fixed;
    return fixed;
}

QByteArray byteArray(const std::string &text)
{
    return QByteArray(text.data(), int(text.size()));
}

/// Polling reads of \a count words each, at numbers \a distance apart.
class PolledReads : public Scenario
{
public:
    struct Plan {
        AreaKind kind;
        int items;
        int words;
        int distance;
    };
    PolledReads(LoadedDriver::Mode mode, Plan plan) : m_plan(plan), m_driver(mode)
    {
        QList<HostReadItem> items;
        for (int i = 0; i < plan.items; ++i)
            items.append(pollingItem(plan.kind, i * plan.distance, plan.words, stationOf(i)));
        require(m_driver.api.ReCreatReadVarList(&items) == plan.items, "the polling list is not as planned");
        m_cycle = std::make_unique<PollingCycle>(m_driver, plan.items);
    }
    void run(long times) override { m_cycle->run(times); }
    void check() override
    {
        m_cycle->check();
        for (int i = 0; i < m_plan.items; ++i)
            requireStored(m_driver, m_plan.kind, stationOf(i), i * m_plan.distance, m_plan.words);
    }

private:
    /// In multi-station mode the first half of the items belongs to one station, the second half to the other.
    int stationOf(int item) const
    {
        return m_driver.info.multiStation ? 1 + item * kStations / m_plan.items : m_driver.info.defaultStation;
    }

    Plan m_plan;
    LoadedDriver m_driver;
    std::unique_ptr<PollingCycle> m_cycle;
};

/// A polling list of \a blocks blocks that was registered entry by entry.
class LongPollingList : public Scenario
{
public:
    explicit LongPollingList(int blocks) : m_blocks(blocks), m_driver(LoadedDriver::SingleStation)
    {
        RW_VAR var;
        var.areaKind = KindDT;
        var.station = m_driver.info.defaultStation;
        var.count = kBlockWords;
        for (int i = 0; i < blocks; ++i) {
            var.address = i * kBlockWords;
            m_driver.api.AddListReadVar(&var);
        }
        m_cycle = std::make_unique<PollingCycle>(m_driver, blocks);
    }
    void run(long times) override { m_cycle->run(times); }
    void check() override
    {
        m_cycle->check();
        // Numbers have five digits on the wire, so what a higher one shows is the answer to its low digits.
        requireStored(m_driver, KindDT, 1, 0, qMin(m_blocks * kBlockWords, 99999));
    }

private:
    int m_blocks;
    LoadedDriver m_driver;
    std::unique_ptr<PollingCycle> m_cycle;
};

RW_VAR queuedWrite(AreaKind kind, int address, const QByteArray &data, int station)
{
    RW_VAR var;
    var.varFlag = 1;
    var.areaKind = kind;
    var.address = address;
    var.station = station;
    var.count = kind < KindWX ? data.size() : data.size() / 2;
    var.data = data;
    return var;
}

QByteArray writtenWords()
{
    QByteArray data;
    for (int i = 0; i < kBlockWords; ++i)
        data.append(char(i)).append('\x12');
    return data;
}

/// Writes that are queued beforehand, exchange by exchange. The list holds \a waiting writes more than are sent.
class QueuedWrites : public Scenario
{
public:
    QueuedWrites(LoadedDriver::Mode mode, RW_VAR var, const char *reply, int waiting = 0)
        : m_driver(mode), m_var(std::move(var)), m_reply(byteArray(closedFrame(reply))), m_waiting(waiting)
    {
    }
    void prepare(long times) override
    {
        for (long i = m_driver.object.lst_WriteVar.size(); i < times + m_waiting; ++i)
            m_driver.api.AddListWriteVar(&m_var, 1);
    }
    void run(long times) override
    {
        while (times > 0) {
            if (!m_driver.api.ComCommunication())
                continue; // the empty call after five writes in a row, while nothing is polled
            m_failed += m_driver.api.DataCom(&m_reply, m_reply.size())->result != 1;
            --times;
        }
    }
    void check() override
    {
        require(m_failed == 0, "a write failed");
        require(m_driver.object.lst_WriteVar.size() == m_waiting, "writes are left over");
        QByteArray stored;
        QString address =
            m_var.areaKind < KindWX ? QString::number(m_var.address / 16) + "0" : QString::number(m_var.address);
        m_driver.api.GetRegisterData(nullptr, m_var.areaKind, &address, m_var.station, &stored, m_var.count);
        require(stored == m_var.data, "what was written is not in the store");
    }

private:
    LoadedDriver m_driver;
    RW_VAR m_var;
    QByteArray m_reply;
    int m_waiting;
    long m_failed = 0;
};

/// The whole road of a write: a screen's SetRegisterData, then the exchange.
class WholeWrites : public Scenario
{
public:
    explicit WholeWrites(LoadedDriver::Mode mode) : m_driver(mode) {}
    void run(long times) override
    {
        for (; times > 0; --times) {
            m_driver.api.SetRegisterData(&m_name, KindDT, &m_address, 1, &m_data, kBlockWords, 1, 1);
            if (!m_driver.api.ComCommunication())
                m_driver.api.ComCommunication();
            m_failed += m_driver.api.DataCom(&m_reply, m_reply.size())->result != 1;
        }
    }
    void check() override
    {
        require(m_failed == 0 && m_driver.object.lst_WriteVar.isEmpty(), "a write failed");
        QByteArray stored;
        m_driver.api.GetRegisterData(nullptr, KindDT, &m_address, 1, &stored, kBlockWords);
        require(stored == m_data, "what was written is not in the store");
    }

private:
    LoadedDriver m_driver;
    QString m_name = QStringLiteral("setpoint");
    QString m_address = QStringLiteral("100");
    QByteArray m_data = writtenWords();
    QByteArray m_reply = byteArray(closedFrame("%01$WD"));
    long m_failed = 0;
};

/// One sweep over scattered tags per run.
class ScatteredSweep : public Scenario
{
public:
    ScatteredSweep() : m_driver(LoadedDriver::SingleStation)
    {
        QList<HostReadItem> items = scatteredTags();
        const int blocks = m_driver.api.ReCreatReadVarList(&items);
        m_cycle = std::make_unique<PollingCycle>(m_driver, blocks);
        require(m_cycle->entries() == blocks, "the cycle is not one sweep");
    }
    void run(long times) override { m_cycle->run(times * m_cycle->requests()); }
    void check() override
    {
        m_cycle->check();
        for (const int number : scatteredTagNumbers())
            requireStored(m_driver, KindDT, 1, number, 1);
    }

private:
    LoadedDriver m_driver;
    std::unique_ptr<PollingCycle> m_cycle;
};

template <typename Made, typename... Args> std::function<std::unique_ptr<Scenario>()> maker(Args... args)
{
    return [=] { return std::make_unique<Made>(args...); };
}

void addExchanges(std::vector<NamedScenario> &all, const std::string &mode, LoadedDriver::Mode m)
{
    using Plan = PolledReads::Plan;
    const Plan rd{KindDT, kBlocks, kBlockWords, kBlockDistance};
    const Plan rcc{KindWR, kBlocks, kBlockWords, kBlockDistance};
    const Plan monitor{KindDT, kScattered * kStations, 1, kScatterDistance};
    const RW_VAR words = queuedWrite(KindDT, 100, writtenWords(), 1);
    const RW_VAR bit = queuedWrite(KindR, 160, QByteArray(1, '\1'), 1);
    all.push_back({"driver/" + mode + "/RD 16 words", kBatch, true, maker<PolledReads>(m, rd)});
    all.push_back({"driver/" + mode + "/RCC 16 words", kBatch, true, maker<PolledReads>(m, rcc)});
    all.push_back({"driver/" + mode + "/monitor 14 words", kBatch, true, maker<PolledReads>(m, monitor)});
    all.push_back({"driver/" + mode + "/WD 16 words", kBatch, true, maker<QueuedWrites>(m, words, "%01$WD", 0)});
    all.push_back({"driver/" + mode + "/WCS", kBatch, true, maker<QueuedWrites>(m, bit, "%01$WC", 0)});
    all.push_back({"driver/" + mode + "/SetRegisterData and WD 16 words", kBatch, true, maker<WholeWrites>(m)});
}

} // namespace

PollingCycle::PollingCycle(LoadedDriver &driver, long maxRequests) : m_driver(driver)
{
    const QList<RW_VAR> &list = driver.object.lst_PollingReadVar;
    const RW_VAR start = list.first();
    const auto isStart = [&start](const RW_VAR &var) {
        return var.station == start.station && var.areaKind == start.areaKind && var.address == start.address;
    };
    do {
        require(requests() < maxRequests, "the polling list does not come back to its start");
        addRequest();
    } while (!isStart(list.first()));
}

void PollingCycle::addRequest()
{
    int frames = 0;
    do {
        const Protocol *request = m_driver.api.ComCommunication();
        require(request != nullptr, "no request comes");
        const std::string text(request->frame.constData(), std::size_t(request->frameLen));
        m_replies.push_back(byteArray(answers().answer(text)));
        m_bytes += request->frameLen + m_replies.back().size();
        require(m_driver.api.DataCom(&m_replies.back(), m_replies.back().size())->result == 1, "the reply is refused");
        ++frames;
    } while (!m_driver.object.lst_Protocol.isEmpty());
    m_framesOfRequest.push_back(frames);
    m_entries += *m_driver.api.qmap_length;
}

void PollingCycle::run(long requests)
{
    for (; requests > 0; --requests) {
        for (int frames = m_framesOfRequest[m_nextRequest]; frames > 0; --frames) {
            QByteArray &reply = m_replies[m_nextReply++];
            m_failed += m_driver.api.ComCommunication() == nullptr;
            m_failed += m_driver.api.DataCom(&reply, reply.size())->result != 1;
        }
        if (++m_nextRequest == m_framesOfRequest.size())
            m_nextRequest = m_nextReply = 0;
    }
}

void PollingCycle::check() const
{
    require(m_failed == 0, "exchanges failed");
}

void requireStored(LoadedDriver &driver, int kind, int station, int first, int count)
{
    QByteArray stored;
    QString address = QString::number(first);
    driver.api.GetRegisterData(nullptr, kind, &address, station, &stored, count);
    require(stored.size() == 2 * count, "the store does not hold what was read");
    for (int i = 0; i < count; ++i) {
        const int word = FixedAnswers::word(first + i);
        require(quint8(stored[2 * i]) == (word & 255) && quint8(stored[2 * i + 1]) == word >> 8,
                "a wrong value in the store");
    }
}

HostReadItem pollingItem(AreaKind kind, int number, int count, int station)
{
    HostReadItem item;
    item.areaKind = quint8(kind);
    item.station = quint8(station);
    item.addrText = QString::number(number);
    item.name = QStringLiteral("tag");
    item.count = count;
    return item;
}

std::vector<int> scatteredTagNumbers()
{
    std::mt19937 random(1);
    std::set<int> numbers;
    while (numbers.size() < kScatteredTags)
        numbers.insert(int(random() % kScatteredOver));
    return {numbers.begin(), numbers.end()};
}

QList<HostReadItem> scatteredTags()
{
    QList<HostReadItem> items;
    for (const int number : scatteredTagNumbers())
        items.append(pollingItem(KindDT, number, 1, 1));
    return items;
}

void addExchangeScenarios(std::vector<NamedScenario> &all)
{
    addExchanges(all, "one station", LoadedDriver::SingleStation);
    addExchanges(all, "stations", LoadedDriver::MultiStation);
    for (const int blocks : {10, 100, 1000, 10000})
        all.push_back({"polling list/" + std::to_string(blocks), kBatch, true, maker<LongPollingList>(blocks)});
    all.push_back({"sweep of scattered tags", 1, true, maker<ScatteredSweep>()});
}
