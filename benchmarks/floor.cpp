// floor.cpp - a polled read of 16 words written as straight as it goes: what an exchange has to cost at least.
//
//  - The table floor: format the request, check the reply, decode the words. No queue, no lock, no Qt.
//  - The Qt floor: the same through QByteArray frames and a QList of the driver's records, with four lock pairs.

#include "fixed_answers.h"
#include "scenario.h"

#include "matsushita_tcpip_net/driver_object.h"

#include <array>
#include <cstring>

namespace
{

const int kBlocks = 10;
const int kBlockDistance = 500;
const int kWords = 16;
const int kRequestChars = 20;
const int kReplyChars = 9 + 4 * kWords;
const int kDataPos = 6;
const int kDigits = 5;
const int kStation = 1;
const long kBatch = 1000;

/// The two characters of each number below 100, and of each byte in hexadecimal; the value of each hexadecimal digit.
struct Tables {
    std::array<char, 200> decimal{};
    std::array<char, 512> hex{};
    std::array<quint8, 256> value{};

    Tables()
    {
        const char digits[] = "0123456789ABCDEF";
        for (std::size_t i = 0; i < 100; ++i) {
            decimal[2 * i] = digits[i / 10];
            decimal[2 * i + 1] = digits[i % 10];
        }
        for (std::size_t i = 0; i < 256; ++i) {
            hex[2 * i] = digits[i >> 4];
            hex[2 * i + 1] = digits[i & 15];
        }
        for (quint8 i = 0; i < 16; ++i)
            value[quint8(digits[i])] = i;
    }
};
const Tables kTables;

void putFiveDigits(char *to, int number)
{
    to[0] = char('0' + number / 10000 % 10);
    std::memcpy(to + 1, &kTables.decimal[std::size_t(number / 100 % 100) * 2], 2);
    std::memcpy(to + 3, &kTables.decimal[std::size_t(number % 100) * 2], 2);
}

/// "%01#RDD0010000115**" and CR.
void formatRequest(char *to, int station, int first)
{
    std::memcpy(to, "%00#RDD", 7);
    std::memcpy(to + 1, &kTables.decimal[std::size_t(station) * 2], 2);
    putFiveDigits(to + 7, first);
    putFiveDigits(to + 7 + kDigits, first + kWords - 1);
    std::memcpy(to + 17, "**\r", 3);
}

bool isGoodReply(const char *reply, int length)
{
    if (length != kReplyChars || reply[0] != '%' || reply[3] == '!' || reply[length - 1] != '\r')
        return false;
    quint8 check = 0;
    for (int i = 0; i < length - 3; ++i)
        check ^= quint8(reply[i]);
    return std::memcmp(reply + length - 3, &kTables.hex[std::size_t(check) * 2], 2) == 0;
}

void decodeWords(const char *data, quint16 *words)
{
    const auto digit = [data](int i) { return unsigned(kTables.value[quint8(data[i])]); };
    for (int i = 0; i < 4 * kWords; i += 4)
        *words++ = quint16(digit(i + 2) << 12 | digit(i + 3) << 8 | digit(i) << 4 | digit(i + 1));
}

QByteArray readyReply(int first)
{
    FixedAnswers answers;
    char request[kRequestChars];
    formatRequest(request, kStation, first);
    const std::string &reply = answers.answer(std::string(request, kRequestChars));
    return QByteArray(reply.data(), int(reply.size()));
}

void requireWords(const std::vector<quint16> &area)
{
    for (int block = 0; block < kBlocks; ++block)
        for (int i = 0; i < kWords; ++i) {
            const int n = block * kBlockDistance + i;
            require(area[std::size_t(n)] == FixedAnswers::word(n), "a wrong word");
        }
}

class TableFloor : public Scenario
{
public:
    TableFloor() : m_area(std::size_t(kBlocks * kBlockDistance))
    {
        for (int i = 0; i < kBlocks; ++i)
            m_replies.push_back(readyReply(i * kBlockDistance));
    }
    void run(long times) override
    {
        for (; times > 0; --times) {
            const int first = m_block * kBlockDistance;
            const QByteArray &reply = m_replies[std::size_t(m_block)];
            formatRequest(m_request, kStation, first);
            asm volatile("" : : "r"(m_request) : "memory"); // as if it went out
            if (isGoodReply(reply.constData(), reply.size()))
                decodeWords(reply.constData() + kDataPos, &m_area[std::size_t(first)]);
            m_block = m_block + 1 == kBlocks ? 0 : m_block + 1;
        }
    }
    void check() override { requireWords(m_area); }

private:
    std::vector<quint16> m_area;
    std::vector<QByteArray> m_replies;
    char m_request[kRequestChars] = {};
    int m_block = 0;
};

class QtFloor : public Scenario
{
public:
    QtFloor() : m_area(std::size_t(kBlocks * kBlockDistance))
    {
        for (int i = 0; i < kBlocks; ++i) {
            m_replies.push_back(readyReply(i * kBlockDistance));
            RW_VAR var;
            var.name = QStringLiteral("tag");
            var.addrText = QString::number(i * kBlockDistance);
            var.areaKind = KindDT;
            var.station = kStation;
            var.address = i * kBlockDistance;
            var.count = kWords;
            m_polling.append(var);
        }
    }
    void run(long times) override
    {
        for (; times > 0; --times) {
            request();
            const int block = m_queue.first().var.address / kBlockDistance;
            take(m_replies[std::size_t(block)]);
        }
    }
    void check() override { requireWords(m_area); }

private:
    void request()
    {
        QMutexLocker list(&m_listMutex);
        const RW_VAR &var = m_polling.first();
        Protocol built;
        built.frame.resize(kRequestChars);
        formatRequest(built.frame.data(), var.station, var.address);
        built.frameLen = kRequestChars;
        built.replyLen = kReplyChars;
        built.dataPos = kDataPos;
        built.dataLen = 4 * kWords;
        built.var = var;
        m_queue.append(built);
        QMutexLocker stations(&m_stationMutex);
    }
    void take(const QByteArray &reply)
    {
        const Protocol &head = m_queue.first();
        if (reply.size() != head.replyLen || !isGoodReply(reply.constData(), reply.size()))
            return;
        {
            QMutexLocker area(&m_areaMutex);
            decodeWords(reply.constData() + head.dataPos, &m_area[std::size_t(head.var.address)]);
        }
        m_queue.removeFirst();
        QMutexLocker list(&m_listMutex);
        m_result = m_polling.first();
        m_result.result = 1;
        m_polling.move(0, m_polling.size() - 1);
    }

    std::vector<quint16> m_area;
    std::vector<QByteArray> m_replies;
    QMutex m_listMutex, m_areaMutex, m_stationMutex;
    QList<RW_VAR> m_polling;
    QList<Protocol> m_queue;
    RW_VAR m_result;
};

} // namespace

std::vector<NamedScenario> floorScenarios()
{
    return {{"floor/table codec/RD 16 words", kBatch, true, [] { return std::make_unique<TableFloor>(); }},
            {"floor/Qt/RD 16 words", kBatch, true, [] { return std::make_unique<QtFloor>(); }}};
}
