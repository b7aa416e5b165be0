// test_exchange.cpp - the driver and the simulated PLC, frame by frame, until their memories agree.
//
//  - The PLCs' memories move, screens write, one-shot reads come in between; single- and multi-station phases take
//    turns.
//  - At the end of each phase every word of every area of the driver must be the word that the PLC holds.
//  - FP_EXCHANGES sets the number of exchanges (100,000 without it): FP_EXCHANGES=1000000 is the long span.

#include "fresh_driver.h"

#include <plcsim/simulator.h>

#include <cstdlib>
#include <random>

namespace
{

using plcsim::Area;

struct Place {
    quint8 kind;
    Area area;
    bool bits;     // addressed by bit
    bool writable; // by a host
    int words;     // of it in use, inside the PLC's areas
};

const Place kPlaces[] = {
    {0, Area::X, true, false, 128},   {1, Area::Y, true, true, 128},    {2, Area::R, true, true, 200},
    {3, Area::L, true, true, 128},    {4, Area::T, true, false, 64},    {5, Area::C, true, false, 64},
    {6, Area::X, false, false, 128},  {7, Area::Y, false, true, 128},   {8, Area::R, false, true, 200},
    {9, Area::L, false, true, 128},   {10, Area::DT, false, true, 500}, {11, Area::LD, false, true, 300},
    {12, Area::FL, false, true, 300}, {13, Area::SV, false, true, 200}, {14, Area::EV, false, true, 200},
};

QString addressText(const Place &place, int element)
{
    if (place.kind <= 3)
        return QString::number(element / 16) + QString::number(element % 16, 16).toUpper();
    return QString::number(element);
}

/// A run of elements of one area of one station.
struct Span {
    Place place;
    int station;
    int first;
    int count;
};

class Exchange : public FreshDriver
{
protected:
    static long wanted()
    {
        const char *text = std::getenv("FP_EXCHANGES");
        return text ? std::atol(text) : 100000;
    }

    int below(int limit) { return std::uniform_int_distribution<int>(0, limit - 1)(m_random); }

    Span anySpan(bool writable)
    {
        Place place;
        do
            place = kPlaces[below(int(std::size(kPlaces)))];
        while (writable && !place.writable);
        const int elements = place.bits ? place.words * 16 : place.words;
        const int count = 1 + below(below(4) == 0 ? 40 : 4);
        return {place, m_stations[std::size_t(below(int(m_stations.size())))], below(elements - count), count};
    }

    static Area areaOfWords(int wordKind)
    {
        for (const Place &place : kPlaces)
            if (place.kind == wordKind)
                return place.area;
        ADD_FAILURE() << "kind " << wordKind;
        return Area::X;
    }

    QByteArray destination(int station) const { return plcsim::destinationOf(station); }

    /// The station of a variable as hosts give it: single-station mode has only the default one.
    void setUp(plcsim::Simulator &plc, bool multi, std::vector<int> stations)
    {
        m_plc = &plc;
        m_stations = std::move(stations);
        info.multiStation = multi ? 1 : 0;
        info.defaultStation = m_stations.front();
    }

    void choosePolling(int items)
    {
        QList<HostReadItem> list;
        for (int i = 0; i < items; ++i) {
            const Span span = anySpan(false);
            HostReadItem one;
            one.areaKind = span.place.kind;
            one.station = quint8(span.station);
            one.addrText = addressText(span.place, span.first);
            one.count = span.count;
            list.append(one);
        }
        ASSERT_GT(ReCreatReadVarList(&list), 0);
    }

    /// One request and its answer; false when the driver has nothing to send.
    bool exchange()
    {
        const Protocol *request = ComCommunication();
        if (!request)
            return false;
        const QByteArray bytes = request->frame.left(request->frameLen);
        QByteArray reply = info.remoteMode != 0 ? m_plc->answerRemote(bytes) : m_plc->answer(bytes);
        const std::string sent = text(request->frame);
        ++m_exchanges;
        if (DataCom(&reply, int(reply.size()))->result != 1)
            ADD_FAILURE() << "request " << sent << " was answered by " << text(reply);
        return true;
    }

    /// The PLC changes one of the words that are read over and over. Of overlapping items planning may cut words off,
    /// so the polling list says which words those are, not the items.
    void moveValue()
    {
        const QList<RW_VAR> &polling = PLC_driver.lst_PollingReadVar;
        const RW_VAR &block = polling.at(below(int(polling.size())));
        m_plc->setWord(destination(block.station), areaOfWords(block.areaKind), block.address + below(block.count),
                       quint16(below(65536)));
    }

    void writeValue()
    {
        if (PLC_driver.lst_WriteVar.size() > 100)
            return; // a full list drops writes
        const Span span = anySpan(true);
        QByteArray values;
        for (int i = 0; i < (span.place.bits ? span.count : 2 * span.count); ++i)
            values.append(char(span.place.bits ? below(2) : below(256)));
        QString name;
        QString address = addressText(span.place, span.first);
        EXPECT_GT(SetRegisterData(&name, span.place.kind, &address, span.station, &values, span.count, 3, 4), 0);
    }

    void readOnce()
    {
        if (PLC_driver.lst_OnceReadVar.size() > 100)
            return;
        const Span span = anySpan(false);
        RW_VAR var;
        var.ownerId = 1 + below(12);
        var.areaKind = span.place.kind;
        var.addrText = addressText(span.place, span.first);
        var.station = span.station;
        var.count = span.count;
        EXPECT_GT(AddListOnceReadVar(&var, 0), 0);
    }

    /// Lets all writes and one-shot reads through and then every polling entry once, with the PLCs standing still.
    void settle()
    {
        while (!PLC_driver.lst_WriteVar.isEmpty() || !PLC_driver.lst_OnceReadVar.isEmpty())
            exchange();
        // A grouped read takes three exchanges; none is left unfinished for the next phase and its PLCs.
        for (int i = 0; i < 3 * (int(PLC_driver.lst_PollingReadVar.size()) + 1) || !PLC_driver.lst_Protocol.isEmpty();
             ++i)
            exchange();
    }

    /// Compares every word in use of every area of every station.
    void compareMemories()
    {
        for (const Place &place : kPlaces) {
            for (const int station : m_stations) {
                QByteArray values;
                QString name;
                QString first = addressText(place, 0);
                const int elements = place.bits ? place.words * 16 : place.words;
                ASSERT_EQ(GetRegisterData(&name, place.kind, &first, station, &values, elements), 1);
                for (int i = 0; i < elements; ++i) {
                    const int held = place.bits
                                         ? int(values.at(i))
                                         : int(quint8(values.at(2 * i))) | int(quint8(values.at(2 * i + 1))) << 8;
                    const int expected = place.bits ? int(*m_plc->bit(destination(station), place.area, i))
                                                    : int(*m_plc->word(destination(station), place.area, i));
                    ASSERT_EQ(held, expected)
                        << "kind " << int(place.kind) << " element " << i << " station " << station;
                }
            }
        }
    }

    long m_exchanges = 0;

private:
    std::mt19937 m_random{20240229};
    plcsim::Simulator *m_plc = nullptr;
    std::vector<int> m_stations;
};

} // namespace

TEST_F(Exchange, TheDriversAreasEqualThePlcsMemoryAfterManyMixedExchanges)
{
    // Words are kept apart by mode: the fixed areas hold the values of one PLC, the cells those of three others.
    plcsim::Simulator alone, several;
    alone.addStation("01", 1);
    several.addStation("02", 2);
    several.addStation("15", 5);
    several.addStation("1A", 10);

    for (int phase = 0; m_exchanges < wanted() && !HasFailure(); ++phase) {
        if (phase % 2 == 0)
            setUp(alone, false, {1});
        else
            setUp(several, true, {2, 5, 10});
        info.remoteMode = phase % 5 == 3 || phase % 5 == 4 ? 1 : 0; // the same work through binary records
        choosePolling(5 + phase % 60);
        for (int step = 0; step < 2000; ++step) {
            if (below(3) == 0)
                moveValue();
            if (below(12) == 0)
                writeValue();
            if (below(20) == 0)
                readOnce();
            exchange();
        }
        settle();
        compareMemories();
    }
    EXPECT_TRUE(commFailed().empty());
    EXPECT_FALSE(readFinished().empty());
    for (const ReadFinished &finished : readFinished())
        EXPECT_EQ(finished.status, 1);
    RecordProperty("exchanges", std::to_string(m_exchanges));
}
