// test_values.cpp - what a host writes is what the PLC holds and what the host reads back.

#include "plain_plc.h"
#include "properties.h"

namespace
{

const char *const kAreaNames[] = {"X", "Y", "R", "L", "T", "C", "X", "Y", "R", "L", "DT", "LD", "FL", "SV", "EV"};

/// Exchanges with the PLC until nothing is left to do; all must go well.
void exchangeAll(PlainPlc &plc)
{
    for (int times = 0; times < 5000; ++times) {
        Protocol *request = ComCommunication();
        if (!request && PLC_driver.lst_WriteVar.isEmpty() && PLC_driver.lst_OnceReadVar.isEmpty())
            return;
        if (!request)
            continue; // a run of five has ended
        const std::string answer = plc.answer(PropertyDriver::text(request->frame));
        QByteArray reply(answer.data(), int(answer.size()));
        RC_ASSERT(DataCom(&reply, int(reply.size()))->result == 1);
    }
    RC_FAIL("the work does not end");
}

QByteArray bytesOf(const std::vector<std::uint16_t> &words)
{
    QByteArray bytes;
    for (const std::uint16_t word : words) {
        bytes.append(char(word % 256));
        bytes.append(char(word / 256));
    }
    return bytes;
}

QByteArray readLocally(int kind, const QString &text, int station, int count)
{
    QString name, addrText = text;
    QByteArray out;
    RC_ASSERT(GetRegisterData(&name, kind, &addrText, station, &out, count) == 1);
    return out;
}

void write(int kind, const QString &text, int station, const QByteArray &bytes, int count)
{
    QString name, addrText = text;
    QByteArray data = bytes;
    RC_ASSERT(SetRegisterData(&name, kind, &addrText, station, &data, count, 3, 4) > 0);
}

void readOnce(int kind, const QString &text, int station, int count)
{
    RW_VAR var = PropertyDriver::variable(kind, 0, count, station);
    var.addrText = text;
    RC_ASSERT(AddListOnceReadVar(&var, 0) > 0);
}

} // namespace

RC_GTEST_PROP(Values, WordsWrittenArriveInThePlcAndAreReadBack, (bool multi))
{
    PropertyDriver driver;
    driver.info.multiStation = multi;
    driver.info.maxWordsPerWrite = *between(1, 40);
    const int kind = *between(7, 14), station = multi ? *between(1, 4) : 1, address = *between(0, 9000);
    const std::vector<std::uint16_t> words = *rc::gen::nonEmpty<std::vector<std::uint16_t>>();
    const int count = int(words.size());
    const QString text = QString::number(address);
    PlainPlc plc;
    write(kind, text, station, bytesOf(words), count);
    exchangeAll(plc);
    for (int i = 0; i < count; ++i)
        RC_ASSERT(plc.word("0" + std::to_string(station), kAreaNames[kind], address + i) == words[std::size_t(i)]);
    RC_ASSERT(readLocally(kind, text, station, count) == bytesOf(words)); // mirrored when it was sent

    // Another value in the PLC comes in with the next read.
    for (int i = 0; i < count; ++i)
        plc.word("0" + std::to_string(station), kAreaNames[kind], address + i) ^= 0xA55A;
    readOnce(kind, text, station, count);
    exchangeAll(plc);
    std::vector<std::uint16_t> changed = words;
    for (std::uint16_t &word : changed)
        word = std::uint16_t(word ^ 0xA55A);
    RC_ASSERT(readLocally(kind, text, station, count) == bytesOf(changed));
}

RC_GTEST_PROP(Values, BitsWrittenArriveInThePlcAndAreReadBack, (bool multi))
{
    PropertyDriver driver;
    driver.info.multiStation = multi;
    const int kind = *between(1, 3), station = multi ? *between(1, 4) : 1, address = *between(0, 15900);
    const std::vector<bool> bits = *rc::gen::nonEmpty<std::vector<bool>>();
    QByteArray bytes;
    for (const bool bit : bits)
        bytes.append(bit ? '\1' : '\0');
    const QString text = QString::number(address / 16) + QString::number(address % 16, 16).toUpper();
    const int count = int(bytes.size());
    PlainPlc plc;
    write(kind, text, station, bytes, count);
    exchangeAll(plc);
    for (int i = 0; i < count; ++i) {
        const int bit = address + i;
        const unsigned word = plc.word("0" + std::to_string(station), kAreaNames[kind], bit / 16);
        RC_ASSERT((word >> (bit % 16) & 1u) == unsigned(bits[std::size_t(i)]));
    }
    readOnce(kind, text, station, count);
    exchangeAll(plc);
    RC_ASSERT(readLocally(kind, text, station, count) == bytes);
}

RC_GTEST_PROP(Values, APolledVariableOfAnyAreaShowsWhatThePlcHolds, (bool multi))
{
    PropertyDriver driver;
    driver.info.multiStation = multi;
    PlainPlc plc;
    struct Polled {
        int kind, station, address;
        std::uint16_t value;
    };
    std::vector<Polled> list;
    QList<HostReadItem> items;
    const int count = *between(1, 30);
    for (int i = 0; i < count; ++i) {
        // One word each, in steps that leave room, so that no item cuts another one back.
        const Polled polled = {*between(4, 14), multi ? *between(1, 4) : 1, 3 * i + *between(0, 2),
                               *rc::gen::arbitrary<std::uint16_t>()};
        list.push_back(polled);
        const int element = polled.kind < 6 ? polled.address * 16 : polled.address;
        items.append(PropertyDriver::item(quint8(polled.kind), std::to_string(element).c_str(),
                                          polled.kind < 6 ? 16 : 1, quint8(polled.station)));
        plc.word("0" + std::to_string(polled.station), kAreaNames[polled.kind], polled.address) = polled.value;
    }
    ReCreatReadVarList(&items);
    driver.info.cycleDone = 0;
    for (int times = 0; times < 500 && driver.info.cycleDone == 0; ++times) {
        Protocol *request = ComCommunication();
        RC_ASSERT(request != nullptr);
        const std::string answer = plc.answer(PropertyDriver::text(request->frame));
        QByteArray reply(answer.data(), int(answer.size()));
        RC_ASSERT(DataCom(&reply, int(reply.size()))->result == 1);
    }
    RC_ASSERT(driver.info.cycleDone == 1);
    for (const Polled &polled : list) {
        if (polled.kind < 6) {
            const QByteArray bits = readLocally(polled.kind, QString::number(16 * polled.address), polled.station, 16);
            for (int i = 0; i < 16; ++i)
                RC_ASSERT(bits.at(i) == char(polled.value >> i & 1));
        } else {
            RC_ASSERT(readLocally(polled.kind, QString::number(polled.address), polled.station, 1) ==
                      bytesOf({polled.value}));
        }
    }
}
