// polling_repair.cpp - see polling_repair.h.

#include "polling_repair.h"

#include <algorithm>
#include <utility>

namespace fphost
{

namespace
{

constexpr int kLongestRun = 16; // words in one read

bool follows(const RW_VAR &run, const RW_VAR &word)
{
    return word.station == run.station && word.areaKind == run.areaKind && word.address == run.address + run.count &&
           run.count < kLongestRun;
}

} // namespace

// The host has replaced the polling list: what was learned about the old one is forgotten.
bool PollingRepair::listIsNew()
{
    const unsigned now = session_.pollingGeneration();
    if (now == generation_)
        return false;
    generation_ = now;
    batches_.clear();
    refusedWords_.clear();
    return true;
}

void PollingRepair::refused(int entries, long long nowMs)
{
    listIsNew();
    std::vector<Word> words;
    for (const RW_VAR &entry : session_.takeServed(entries)) {
        for (int i = 0; i < entry.count; ++i) {
            words.push_back({entry, 0});
            words.back().entry.address = entry.address + i;
            words.back().entry.count = 1;
        }
    }
    if (words.size() == 1)
        keepOut(words.front(), nowMs); // it has had its test
    else if (!words.empty())
        test(std::move(words));
}

void PollingRepair::test(std::vector<Word> words)
{
    const auto batch = std::make_shared<Batch>();
    batch->words = std::move(words);
    batch->open = static_cast<int>(batch->words.size());
    batches_.push_back(batch);
    for (std::size_t i = 0; i < batch->words.size(); ++i) {
        const auto judge = [batch, i](const Finished &finished) {
            // Only the PLC can say that a word cannot be read; silence says nothing about it.
            batch->words[i].verdict = finished.outcome == Outcome::Refused ? Verdict::Refused : Verdict::Readable;
            --batch->open;
        };
        if (session_.read(spanOf(batch->words[i].entry), judge).id == 0) {
            batch->words[i].verdict = Verdict::Readable; // cannot be tested now, so it stays as it was
            --batch->open;
        }
    }
}

void PollingRepair::step(long long nowMs)
{
    if (listIsNew())
        return;
    std::vector<std::shared_ptr<Batch>> done;
    const auto isDone = [](const std::shared_ptr<Batch> &batch) { return batch->open == 0; };
    std::copy_if(batches_.begin(), batches_.end(), std::back_inserter(done), isDone);
    batches_.erase(std::remove_if(batches_.begin(), batches_.end(), isDone), batches_.end());
    for (const std::shared_ptr<Batch> &batch : done)
        settle(*batch, nowMs);

    std::vector<Word> due;
    for (const RefusedWord &word : refusedWords_) {
        if (word.retestAtMs <= nowMs)
            due.push_back({word.entry, word.pauseMs});
    }
    if (due.empty())
        return;
    refusedWords_.erase(std::remove_if(refusedWords_.begin(), refusedWords_.end(),
                                       [nowMs](const RefusedWord &word) { return word.retestAtMs <= nowMs; }),
                        refusedWords_.end());
    test(std::move(due));
}

void PollingRepair::settle(const Batch &batch, long long nowMs)
{
    std::vector<Word> readable;
    for (const Word &word : batch.words) {
        if (word.verdict == Verdict::Refused)
            keepOut(word, nowMs);
        else
            readable.push_back(word);
    }
    putBack(readable);
}

void PollingRepair::putBack(const std::vector<Word> &words)
{
    QList<RW_VAR> runs;
    for (const Word &word : words) {
        if (!runs.isEmpty() && follows(runs.last(), word.entry))
            ++runs.last().count;
        else
            runs.append(word.entry);
    }
    session_.addPolling(runs, generation_);
}

void PollingRepair::keepOut(const Word &word, long long nowMs)
{
    const long long grown = word.pauseMs == 0 ? settings_.firstRetestMs : 2LL * word.pauseMs;
    const int pauseMs = static_cast<int>(std::min<long long>(grown, settings_.longestRetestMs));
    refusedWords_.push_back({word.entry, pauseMs, nowMs + pauseMs});
}

} // namespace fphost
