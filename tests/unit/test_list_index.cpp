// test_list_index.cpp - the index beside the pending lists and the cells, where others change the lists behind its
// back.

#include "fresh_driver.h"

namespace
{

class Index : public FreshDriver
{
protected:
    /// With room for all entries, references into the list stay good with every Qt.
    Index() { PLC_driver.lst_WriteVar.reserve(64); }

    void queueWrites(int first, int end)
    {
        for (int address = first; address < end; ++address) {
            RW_VAR write = variable(KindDT, address, 1, 1, QByteArray("\x34\x12", 2));
            write.varFlag = 1;
            AddListWriteVar(&write, 0);
        }
    }

    int queued(qint32 address)
    {
        RW_VAR write = variable(KindDT, address, 1, 1, QByteArray("\x78\x56", 2));
        return AddListWriteVar(&write, 0);
    }

    void answerWrite()
    {
        ASSERT_NE(ComCommunication(), nullptr);
        QByteArray reply("%01$WD13\r");
        ASSERT_EQ(DataCom(&reply, 9)->result, 1);
    }
};

} // namespace

TEST_F(Index, AKeyChangedThroughAnOldReferenceDoesNotBreakTheRemovalOfItsEntry)
{
    queueWrites(0, 1);
    RW_VAR &kept = PLC_driver.lst_WriteVar[0];
    queueWrites(1, 12);
    kept.count = 2;
    answerWrite();
    EXPECT_EQ(PLC_driver.lst_WriteVar.size(), 11);
    EXPECT_EQ(queued(5), 11) << "a waiting target is still replaced";
    EXPECT_EQ(queued(99), 12) << "and a new one appended";
}

TEST_F(Index, AKeyChangedThroughAnOldReferenceIsNotTakenForTheOneThatItWas)
{
    queueWrites(0, 4);
    RW_VAR &kept = PLC_driver.lst_WriteVar[3];
    queueWrites(4, 12);
    kept.address = 300;
    EXPECT_EQ(queued(3), 13) << "nothing waits for DT3 any more";
    EXPECT_EQ(PLC_driver.lst_WriteVar.at(3).address, 300);
    EXPECT_EQ(PLC_driver.lst_WriteVar.at(12).address, 3);
}

TEST_F(Index, AListThatAHostKeepsACopyOfIsSearchedAndChangedAllTheSame)
{
    queueWrites(0, 20);
    const QList<RW_VAR> copy = PLC_driver.lst_WriteVar;
    EXPECT_EQ(queued(7), 20);
    answerWrite();
    EXPECT_EQ(queued(8), 19);
    EXPECT_EQ(queued(20), 20);
    EXPECT_EQ(copy.size(), 20);
    EXPECT_EQ(text(copy.at(7).data), std::string("\x34\x12")) << "the host's copy stays as it was";
}
