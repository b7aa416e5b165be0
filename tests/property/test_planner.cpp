// test_planner.cpp - the polling list that is planned, against a reader who reads every word by itself.

#include "properties.h"

#include <algorithm>
#include <map>
#include <set>
#include <tuple>

namespace
{

struct Asked {
    int kind, station, address, count; // as the host asks: bits for kinds 0 to 5
};

void showValue(const Asked &asked, std::ostream &os)
{
    os << "{kind " << asked.kind << ", station " << asked.station << ", address " << asked.address << ", count "
       << asked.count << "}";
}

typedef std::tuple<int, int, int> Word; // station, word kind, word number

int wordKind(const Asked &asked)
{
    return asked.kind < 4 ? asked.kind + 6 : asked.kind;
}

int firstWord(const Asked &asked)
{
    return asked.kind < 6 ? asked.address / 16 : asked.address;
}

int lastWord(const Asked &asked)
{
    const int last = asked.address + asked.count - 1;
    return asked.kind < 6 ? last / 16 : last;
}

HostReadItem itemFor(const Asked &asked)
{
    std::string text = std::to_string(asked.address);
    if (asked.kind < 4)
        text = std::to_string(asked.address / 16) + "0123456789ABCDEF"[asked.address % 16];
    return PropertyDriver::item(quint8(asked.kind), text.c_str(), asked.count, quint8(asked.station));
}

const QList<RW_VAR> &planned(const std::vector<Asked> &list)
{
    QList<HostReadItem> items;
    for (const Asked &asked : list)
        items.append(itemFor(asked));
    const int blocks = ReCreatReadVarList(&items);
    RC_ASSERT(blocks == PLC_driver.lst_PollingReadVar.size());
    return PLC_driver.lst_PollingReadVar;
}

std::set<Word> wordsOf(const QList<RW_VAR> &blocks)
{
    std::set<Word> words;
    for (int i = 0; i < blocks.size(); ++i)
        for (int k = 0; k < blocks.at(i).count; ++k)
            words.insert(Word(blocks.at(i).station, blocks.at(i).areaKind, blocks.at(i).address + k));
    return words;
}

rc::Gen<Asked> anyAsked()
{
    return rc::gen::map(rc::gen::tuple(between(0, 14), between(1, 3), between(0, kNearWords), between(1, 40)),
                        [](const std::tuple<int, int, int, int> &t) {
                            const Asked asked = {std::get<0>(t), std::get<1>(t), std::get<2>(t), std::get<3>(t)};
                            return asked;
                        });
}

/// Items whose words do not overlap, of one station or several.
rc::Gen<std::vector<Asked>> apart()
{
    return rc::gen::map(rc::gen::container<std::vector<Asked>>(anyAsked()), [](const std::vector<Asked> &list) {
        std::vector<Asked> kept;
        std::set<std::pair<int, int>> taken; // station and kind do not matter: no word number twice
        for (const Asked &asked : list) {
            bool fresh = true;
            for (int w = firstWord(asked); w <= lastWord(asked); ++w)
                fresh = fresh && taken.count(std::make_pair(wordKind(asked), w)) == 0;
            for (int w = firstWord(asked); fresh && w <= lastWord(asked); ++w)
                taken.insert(std::make_pair(wordKind(asked), w));
            if (fresh)
                kept.push_back(asked);
        }
        return kept;
    });
}

int stationOf(const Asked &asked, bool multi)
{
    return multi ? asked.station : 1;
}

} // namespace

RC_GTEST_PROP(Planner, EveryBlockHasOneToSixteenWordsAndShortBlocksComeFirst, (bool multi))
{
    PropertyDriver driver;
    driver.info.multiStation = multi;
    const QList<RW_VAR> &blocks = planned(*rc::gen::container<std::vector<Asked>>(anyAsked()));
    bool longSeen = false;
    for (int i = 0; i < blocks.size(); ++i) {
        RC_ASSERT(blocks.at(i).count >= 1);
        RC_ASSERT(blocks.at(i).count <= 16);
        longSeen = longSeen || blocks.at(i).count > 4;
        RC_ASSERT(!longSeen || blocks.at(i).count > 4);
    }
}

RC_GTEST_PROP(Planner, EveryWordAskedForIsReadWhenItemsDoNotOverlap, (bool multi))
{
    PropertyDriver driver;
    driver.info.multiStation = multi;
    const std::vector<Asked> list = *apart();
    const std::set<Word> covered = wordsOf(planned(list));
    for (const Asked &asked : list)
        for (int w = firstWord(asked); w <= lastWord(asked); ++w)
            RC_ASSERT(covered.count(Word(stationOf(asked, multi), wordKind(asked), w)) == 1u);
}

RC_GTEST_PROP(Planner, AWordIsLeftOutOnlyWhereALaterItemEndsBeforeIt, (bool multi))
{
    PropertyDriver driver;
    driver.info.multiStation = multi;
    const std::vector<Asked> list = *rc::gen::container<std::vector<Asked>>(anyAsked());
    const std::set<Word> covered = wordsOf(planned(list));
    for (const Asked &asked : list) {
        for (int w = firstWord(asked); w <= lastWord(asked); ++w) {
            if (covered.count(Word(stationOf(asked, multi), wordKind(asked), w)))
                continue;
            // Pieces of 16 (240 for contacts of one station) begin inside the item too; the one that cuts back begins
            // at or before the word and ends before it.
            const bool cutBack = std::any_of(list.begin(), list.end(), [&](const Asked &other) {
                return wordKind(other) == wordKind(asked) && stationOf(other, multi) == stationOf(asked, multi) &&
                       firstWord(other) <= w && lastWord(other) < w;
            });
            // A longer item's own earlier piece of 16 can cut a long piece back as well.
            const bool cutBackByPiece = std::any_of(list.begin(), list.end(), [&](const Asked &other) {
                return wordKind(other) == wordKind(asked) && stationOf(other, multi) == stationOf(asked, multi) &&
                       firstWord(other) <= w && w - firstWord(other) >= 16;
            });
            RC_ASSERT(cutBack || cutBackByPiece);
        }
    }
}

RC_GTEST_PROP(Planner, NoBlockBridgesMoreThanFourWordsThatNobodyAskedFor, (bool multi))
{
    PropertyDriver driver;
    driver.info.multiStation = multi;
    const std::vector<Asked> list = *rc::gen::container<std::vector<Asked>>(anyAsked());
    std::set<Word> wanted;
    for (const Asked &asked : list)
        for (int w = firstWord(asked); w <= lastWord(asked); ++w)
            wanted.insert(Word(stationOf(asked, multi), wordKind(asked), w));
    const QList<RW_VAR> &blocks = planned(list);
    for (int i = 0; i < blocks.size(); ++i) {
        const RW_VAR &block = blocks.at(i);
        int unasked = 0;
        for (int k = 0; k < block.count; ++k) {
            const bool asked = wanted.count(Word(block.station, block.areaKind, block.address + k)) == 1;
            unasked = asked ? 0 : unasked + 1;
            RC_ASSERT(unasked <= 4);
        }
    }
}

RC_GTEST_PROP(Planner, LongBlocksStandInTheOrderOfKindsAndAddressesInOneStationMode, ())
{
    PropertyDriver driver;
    const QList<RW_VAR> &blocks = planned(*apart());
    std::vector<std::pair<int, int>> longOnes, shortOnes;
    for (int i = 0; i < blocks.size(); ++i)
        (blocks.at(i).count > 4 ? longOnes : shortOnes)
            .push_back(std::make_pair(blocks.at(i).areaKind, blocks.at(i).address));
    RC_ASSERT(std::is_sorted(longOnes.begin(), longOnes.end()));
    RC_ASSERT(std::is_sorted(shortOnes.rbegin(), shortOnes.rend()));
}

RC_GTEST_PROP(Planner, LongBlocksStandInTheOrderInWhichTheirStationsAndKindsFirstOccurInMultiStationMode, ())
{
    PropertyDriver driver;
    driver.info.multiStation = 1;
    const std::vector<Asked> list = *apart();
    std::map<std::pair<int, int>, int> rank;
    for (const Asked &asked : list)
        rank.insert(std::make_pair(std::make_pair(asked.station, wordKind(asked)), int(rank.size())));
    const QList<RW_VAR> &blocks = planned(list);
    std::vector<std::pair<int, int>> longOnes;
    for (int i = 0; i < blocks.size(); ++i)
        if (blocks.at(i).count > 4)
            longOnes.push_back(std::make_pair(rank.at(std::make_pair(blocks.at(i).station, blocks.at(i).areaKind)),
                                              blocks.at(i).address));
    RC_ASSERT(std::is_sorted(longOnes.begin(), longOnes.end()));
}
