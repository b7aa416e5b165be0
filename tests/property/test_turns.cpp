// test_turns.cpp - whose turn it is: limits of the lists, rotation of the polling list, priority.

#include "plain_plc.h"
#include "properties.h"

#include <algorithm>
#include <set>

namespace
{

/// Hands the frame in flight the reply that it asks for. False where it asks for none.
bool answerWell()
{
    PlainPlc plc;
    const Protocol &head = PLC_driver.lst_Protocol.at(0);
    std::string text = plc.answer(PropertyDriver::text(head.frame));
    if (head.replyLen > int(text.size())) { // an MG that the throw-away PLC has no registration for
        text = "%01$MG" + std::string(std::size_t(head.replyLen) - 9, '0');
        text += plainCheck(text) + "\r";
    }
    QByteArray reply(text.data(), int(text.size()));
    return DataCom(&reply, int(reply.size()))->result == 1;
}

/// Ends the request in flight, well or, where the retries are 0, badly.
void endRequest(bool well)
{
    while (!PLC_driver.lst_Protocol.isEmpty()) {
        if (well) {
            RC_ASSERT(answerWell());
        } else {
            QByteArray nothing;
            DataCom(&nothing, 0);
        }
    }
}

/// An entry with a name of its own, of which \a count words are polled.
RW_VAR named(int number, int kind, int count)
{
    RW_VAR var = PropertyDriver::variable(kind, 40 * number, count, 1);
    var.name = QString::number(number);
    return var;
}

} // namespace

RC_GTEST_PROP(Turns, EveryPollingEntryIsServedWithinOneTurnWhateverTheRepliesAre, ())
{
    PropertyDriver driver;
    driver.info.retryLimit = 0;
    const int entries = *between(1, 60);
    for (int i = 0; i < entries; ++i) {
        RW_VAR var = named(i, *between(4, 14), *rc::gen::element(1, 1, 2, 3, 4, 4, 5, 16));
        AddListReadVar(&var);
    }
    std::set<QString> served;
    for (int consumed = 0; consumed < entries; consumed += qmap_length) {
        RC_ASSERT(ComCommunication() != nullptr);
        RC_ASSERT(qmap_length >= 1);
        for (int i = 0; i < qmap_list.size(); ++i)
            served.insert(qmap_list.at(i).name);
        endRequest(*rc::gen::arbitrary<bool>());
    }
    RC_ASSERT(int(served.size()) == entries);
}

RC_GTEST_PROP(Turns, AtMostFiveWritesAndFiveOneShotReadsComeBetweenTwoPollingReads, ())
{
    PropertyDriver driver;
    driver.info.multiStation = 1; // so that a failure drops only the writes of its station
    driver.info.retryLimit = 0;
    for (int i = 0; i < *between(1, 10); ++i) {
        RW_VAR var = named(i, 10, *between(1, 16));
        AddListReadVar(&var);
    }
    int next = 0, writes = 0, onceReads = 0, pollings = 0;
    const int requests = *between(1, 150);
    for (int r = 0; r < requests; ++r) {
        for (int i = *between(0, 3); i > 0; --i) {
            RW_VAR write = PropertyDriver::variable(10, next++, 1, 1, QByteArray(2, '\1'));
            AddListWriteVar(&write, 0);
        }
        for (int i = *between(0, 3); i > 0; --i) {
            RW_VAR read = PropertyDriver::variable(10, 0, 1, 1);
            read.addrText = QString::number(next++);
            AddListOnceReadVar(&read, 0);
        }
        RC_ASSERT(ComCommunication() != nullptr);
        if (PLC_driver.curReqKind == RequestPolling) {
            writes = onceReads = 0;
            ++pollings;
        } else {
            ++(PLC_driver.curReqKind == RequestWrite ? writes : onceReads);
        }
        RC_ASSERT(writes <= 5);
        RC_ASSERT(onceReads <= 5);
        // A one-shot read comes only when writes have none left or have had their five.
        if (PLC_driver.curReqKind == RequestOnceRead)
            RC_ASSERT(PLC_driver.lst_WriteVar.isEmpty() || writes == 5);
        endRequest(*rc::gen::inRange(0, 10) != 0);
    }
    RC_ASSERT(pollings >= requests / 11);
}

RC_GTEST_PROP(Turns, TheListsHoldNoMoreThan1024EntriesHoweverTheyAreFilled, ())
{
    PropertyDriver driver;
    driver.info.maxWordsPerWrite = *between(1, 4);
    for (int i = 0; i < 30; ++i) {
        const int address = *between(0, 9000), count = *between(1, 400);
        QString name, text = QString::number(address);
        QByteArray data(2 * count, 'x');
        const int queued = SetRegisterData(&name, *between(7, 14), &text, 1, &data, count, 1, 1);
        RC_ASSERT(queued == PLC_driver.lst_WriteVar.size());
        RW_VAR read = PropertyDriver::variable(*between(6, 14), 0, 16 * count, 1);
        read.addrText = text;
        read.ownerTag = i;
        const int reading = AddListOnceReadVar(&read, 0);
        RC_ASSERT(reading == PLC_driver.lst_OnceReadVar.size());
        RC_ASSERT(PLC_driver.lst_WriteVar.size() <= 1024);
        RC_ASSERT(PLC_driver.lst_OnceReadVar.size() <= 1024);
    }
    // The same targets again replace or are skipped, except for the head of the write list.
    const int writes = int(PLC_driver.lst_WriteVar.size()), reads = int(PLC_driver.lst_OnceReadVar.size());
    for (int i = 1; i < writes; ++i) {
        RW_VAR again = PLC_driver.lst_WriteVar.at(i);
        RC_ASSERT(AddListWriteVar(&again, 0) == writes);
    }
    for (int i = 0; i < reads; ++i) {
        RW_VAR again = PLC_driver.lst_OnceReadVar.at(i);
        again.addrText = QString::number(again.address);
        RC_ASSERT(AddListOnceReadVar(&again, 0) == reads);
    }
}
