// plc_memory.h - what the simulated PLCs hold and once held, to compare the driver's values with.
//
//  - Words that are watched move within ranges that they share with no other word, so a value that strays from another
//    word, station or request shows, whatever it is.
//  - Memory does not grow with the number of moves.

#pragma once

#include "host/areas.h"

#include "plcsim/simulator.h"

#include <bitset>
#include <memory>
#include <random>
#include <string>
#include <vector>

namespace soak
{

inline plcsim::Area areaOf(int kind)
{
    using plcsim::Area;
    constexpr Area kAreas[] = {Area::X, Area::Y, Area::R,  Area::L,  Area::T,  Area::C,  Area::X, Area::Y,
                               Area::R, Area::L, Area::DT, Area::LD, Area::FL, Area::SV, Area::EV};
    return kAreas[kind];
}

/// The span's elements as the PLC holds them, in the form of DriverSession::values().
inline QByteArray bytesInPlc(const plcsim::Simulator &simulator, const fphost::Span &span)
{
    const QByteArray destination = plcsim::destinationOf(span.station);
    const bool bits = fphost::areaRow(span.kind)->bits;
    QByteArray bytes;
    for (int element = span.first; element < span.first + span.count; ++element) {
        if (bits) {
            bytes.append(*simulator.bit(destination, areaOf(span.kind), element) ? '\1' : '\0');
            continue;
        }
        const quint16 word = *simulator.word(destination, areaOf(span.kind), element);
        bytes.append(static_cast<char>(word & 0xFF)).append(static_cast<char>(word >> 8));
    }
    return bytes;
}

inline std::string nameOf(const fphost::Span &span)
{
    return "station " + std::to_string(span.station) + " " + fphost::elementName(span.kind, span.first).toStdString() +
           " x " + std::to_string(span.count);
}

class MovingWords
{
public:
    explicit MovingWords(std::shared_ptr<plcsim::Simulator> simulator) : simulator_(std::move(simulator)) {}

    /// Lets the words that the span touches move; call it for words that do not move yet.
    void add(const fphost::Span &span)
    {
        const fphost::Span words = fphost::wordsOf(span);
        const plcsim::Area area = areaOf(words.kind);
        for (int number = words.first; number < words.first + words.count; ++number) {
            std::vector<int> &row = rowOf(span.station, area);
            row.resize(std::max(row.size(), static_cast<std::size_t>(number) + 1), -1);
            row[static_cast<std::size_t>(number)] = static_cast<int>(words_.size());
            const int low = 1 + kRange * static_cast<int>(words_.size());
            words_.push_back({plcsim::destinationOf(span.station), area, number, static_cast<quint16>(low), 0, {}});
            move(words_.back(), 0);
        }
    }

    /// Gives one word another value.
    void moveOne(std::mt19937 &dice)
    {
        Word &word = words_[dice() % words_.size()];
        move(word, static_cast<int>(dice() % kRange));
    }

    /// True when the word of this element moves and never held the value that \a bytes gives for it, 0 included. Bits
    /// are never wrong here: each was once on, and once off.
    bool neverHeld(const fphost::Span &element, const char *bytes) const
    {
        const Word *word = find(element);
        if (!word || fphost::areaRow(element.kind)->bits)
            return false;
        const int value = static_cast<quint8>(bytes[0]) + 256 * static_cast<quint8>(bytes[1]);
        const int offset = value - word->low;
        return offset < 0 || offset >= kRange || !word->held[static_cast<std::size_t>(offset)];
    }

    /// The first element of the span of which \a bytes holds a value that the PLC never held; empty when there is none.
    std::string firstNeverHeld(const fphost::Span &span, const QByteArray &bytes) const
    {
        const int size = fphost::valueBytes(span.kind, 1);
        for (int i = 0; i < span.count; ++i) {
            const fphost::Span element = {span.kind, span.first + i, 1, span.station};
            if (neverHeld(element, bytes.constData() + i * size))
                return nameOf(element) + " shows " + bytes.mid(i * size, size).toHex().toStdString();
        }
        return {};
    }

    std::size_t count() const { return words_.size(); }

private:
    static constexpr int kRange = 200; // values that one word takes
    static constexpr int kStations = 4;

    struct Word {
        QByteArray destination;
        plcsim::Area area;
        int number;
        quint16 low;
        quint16 now;
        std::bitset<kRange> held;
    };

    void move(Word &word, int offset)
    {
        word.held.set(static_cast<std::size_t>(offset));
        word.now = static_cast<quint16>(word.low + offset);
        simulator_->setWord(word.destination, word.area, word.number, word.now);
    }

    std::vector<int> &rowOf(int station, plcsim::Area area)
    {
        return rows_[static_cast<std::size_t>(station)][static_cast<std::size_t>(area)];
    }

    const Word *find(const fphost::Span &element) const
    {
        const std::vector<int> &row =
            rows_[static_cast<std::size_t>(element.station)][static_cast<std::size_t>(areaOf(element.kind))];
        const bool bits = fphost::areaRow(element.kind)->bits;
        const auto number = static_cast<std::size_t>(bits ? element.first / fphost::kBitsPerWord : element.first);
        return number < row.size() && row[number] >= 0 ? &words_[static_cast<std::size_t>(row[number])] : nullptr;
    }

    std::shared_ptr<plcsim::Simulator> simulator_;
    std::vector<Word> words_;
    std::array<std::array<std::vector<int>, plcsim::kAreaCount>, kStations> rows_; // index into words_; -1 = none
};

/// A span that is written now and then. What the PLC holds of it must be the last value that was reported done, or one
/// of those that were reported as failed after it, since an acknowledgement may get lost.
class WrittenSpan
{
public:
    explicit WrittenSpan(const fphost::Span &span) : span_(span)
    {
        allowed_.push_back(QByteArray(fphost::valueBytes(span.kind, span.count), '\0'));
    }

    const fphost::Span &span() const { return span_; }

    /// Other values than those before.
    QByteArray nextValues()
    {
        ++turn_;
        const bool bits = fphost::areaRow(span_.kind)->bits;
        QByteArray values;
        for (int i = 0; i < span_.count; ++i) {
            const unsigned value = 40503u * turn_ + 7u * static_cast<unsigned>(i);
            if (bits) {
                values.append(static_cast<char>(value >> 3 & 1));
                continue;
            }
            values.append(static_cast<char>(value & 0xFF)).append(static_cast<char>(value >> 8 & 0xFF));
        }
        return values;
    }

    void done(const QByteArray &values)
    {
        allowed_.clear();
        allowed_.push_back(values);
    }
    void failed(const QByteArray &values)
    {
        for (const QByteArray &known : allowed_) {
            if (known == values)
                return;
        }
        allowed_.push_back(values);
    }

    /// Whether every element of \a held is one of the allowed ones.
    bool allows(const QByteArray &held) const
    {
        const int size = fphost::valueBytes(span_.kind, 1);
        for (int at = 0; at < held.size(); at += size) {
            bool found = false;
            for (const QByteArray &values : allowed_)
                found = found || values.mid(at, size) == held.mid(at, size);
            if (!found)
                return false;
        }
        return true;
    }

private:
    fphost::Span span_;
    std::vector<QByteArray> allowed_;
    unsigned turn_ = 0;
};

/// What a station's polling list holds: blocks, single words and contacts, read-only areas and words that get written.
inline std::vector<fphost::Span> movingSpans(int station)
{
    return {{KindDT, 0, 16, station}, {KindDT, 500, 2, station}, {KindFL, 100, 21, station}, {KindLD, 7, 1, station},
            {KindWX, 2, 2, station},  {KindWR, 3, 2, station},   {KindWL, 9, 1, station},    {KindEV, 5, 3, station},
            {KindSV, 17, 1, station}, {KindT, 0, 16, station},   {KindC, 32, 32, station},   {KindR, 160, 3, station},
            {KindX, 100, 1, station}, {KindDT, 9000, 1, station}};
}

inline std::vector<fphost::Span> writtenSpans(int station)
{
    return {{KindDT, 3000, 1, station}, {KindDT, 3010, 2, station}, {KindDT, 3100, 40, station},
            {KindFL, 300, 1, station},  {KindLD, 50, 3, station},   {KindWR, 60, 1, station},
            {KindWL, 61, 2, station},   {KindSV, 40, 1, station},   {KindEV, 50, 1, station},
            {KindR, 805, 1, station},   {KindR, 830, 4, station},   {KindY, 33, 1, station}};
}

/// Words that no station lets anybody read; see kFaults.
inline fphost::Span unreadableSpan(int station)
{
    return {KindDT, 905, 2, station};
}

/// Everything that can go wrong with a request, in one of ten; times suit a reply time-out of 100 ms. What is cut off
/// and what is added never make a reply of the right length: nobody could tell it from a right one.
constexpr char kFaults[] = "drop-request 0.5%; error 0.4% any; error 0.3% 53; restart 0.1% 300; wrong-station 0.5%;"
                           "wrong-command 0.5%; short-data 0.4% 4; short-data 0.2% 2; long-data 0.5% 8; bad-check 0.6%;"
                           "lower-case-check 0.8%; junk-before 0.5% 3; junk-after 0.5% 3; drop 0.5%; delay 0.4% 40;"
                           "delay 0.2% 130; jitter 0.8% 1..20; late 0.3% 40; late 0.4% 130; duplicate 0.6%; split 0.6%;"
                           "drip 0.4% 1; drip 0.2% 5; glue 0.4%; reset 0.4%; half-open 0.2%; unreadable DT900..909 61";

/// Without the replies that come twice where real time decides when the second one comes: an acknowledgement that
/// arrives again when the next write is already out cannot be told from the answer to that write.
enum class Twice { May, Never };

/// A frame size that neither a read of 16 words nor a monitor of 14 nor a write of 16 fits.
constexpr int kShortFrames = 60;

inline plcsim::FaultPlan faultPlan(quint32 seed, Twice twice = Twice::May)
{
    QString text = QString::fromLatin1(kFaults);
    if (twice == Twice::Never)
        text.remove(QStringLiteral("duplicate 0.6%;"));
    std::optional<plcsim::FaultPlan> plan = plcsim::FaultPlan::parse(text);
    plan->seed = seed;
    return *plan;
}

} // namespace soak
