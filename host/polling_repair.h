// polling_repair.h - keeps words that the PLC refuses from spoiling the reads of those around them.
//
//  - The driver reads neighbouring words in one block and scattered words in one group. One word that the PLC does not
//    have makes it refuse the whole read, every time. So the entries of a refused read leave the polling list, each of
//    their words is read by itself once, and what can be read goes back in runs.
//  - Words that were refused are tried again from time to time, in growing pauses: the PLC may get them.
//  - Used by the communication thread only; the time is passed in.

#pragma once

#include "driver_session.h"

#include <memory>
#include <vector>

namespace fphost
{

class PollingRepair
{
public:
    struct Settings {
        int firstRetestMs = 30000;    ///< pause before a refused word is tried again
        int longestRetestMs = 600000; ///< the pause doubles with every refusal up to this
    };

    PollingRepair(DriverSession &session, const Settings &settings) : session_(session), settings_(settings) {}

    /// The PLC has refused a polling read because of an address. Call it directly after the session's answer().
    /// \param entries  of the polling list that the read has served
    void refused(int entries, long long nowMs);

    /// Puts back what has proved readable and starts the tests that are due. Call it between requests.
    void step(long long nowMs);

    /// False: step() has nothing to do.
    bool isBusy() const { return !batches_.empty() || !refusedWords_.empty(); }

private:
    enum class Verdict { Open, Readable, Refused };
    struct Word {
        RW_VAR entry; // of one word
        int pauseMs;  // the last one given; 0 = none yet
        Verdict verdict = Verdict::Open;
    };
    struct Batch { // words under test; outlives us where a test ends later
        std::vector<Word> words;
        int open = 0;
    };
    struct RefusedWord {
        RW_VAR entry;
        int pauseMs;
        long long retestAtMs;
    };

    void test(std::vector<Word> words);
    void settle(const Batch &batch, long long nowMs);
    void putBack(const std::vector<Word> &words);
    void keepOut(const Word &word, long long nowMs);
    bool listIsNew();

    DriverSession &session_;
    Settings settings_;
    unsigned generation_ = 0; // of the polling list that all of this belongs to
    std::vector<std::shared_ptr<Batch>> batches_;
    std::vector<RefusedWord> refusedWords_;
};

} // namespace fphost
