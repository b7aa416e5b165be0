// watch_list.h - the elements that fplink watch shows: their values, whether they were really read, and how often they
// changed.
//
//  - served() is called on the communication thread for every read that ended; sample() by the one that shows.
//  - A value counts only once the PLC has given it: before that the driver's store holds zeros that nobody read.

#pragma once

#include "host/exchanger.h"

#include <functional>
#include <map>
#include <mutex>
#include <tuple>
#include <vector>

namespace fplink
{

class WatchList
{
public:
    enum class State {
        Waiting, // not read yet
        Good,    // value is the last one read
        Failed   // the last attempt to read it failed; value is the last one read before, if any
    };

    struct Element {
        fphost::Span span; // of one element
        State state = State::Waiting;
        bool known = false; // value was read at least once
        int value = 0;
        int changes = 0;
        fphost::Outcome outcome = fphost::Outcome::Done; // why, while Failed
        int errorCode = 0;                               // of the PLC, when Refused
    };

    /// What sample() found.
    struct Change {
        std::size_t element;
        bool first; // the element's first value
        int before; // otherwise, the value before
    };

    explicit WatchList(const std::vector<fphost::Span> &spans);

    /// Notes what an exchange has read, or failed to.
    void served(const fphost::ExchangeReport &report);

    /// Fetches the values of everything that was read since the last call. \a values gives a span's bytes as the driver
    /// holds them.
    std::vector<Change> sample(const std::function<QByteArray(const fphost::Span &)> &values);

    const std::vector<Element> &elements() const { return elements_; }

private:
    using Key = std::tuple<int, int, int>; // station, word kind, word number
    struct Word {
        bool fresh = false; // read since the last sample
        State state = State::Waiting;
        fphost::Outcome outcome = fphost::Outcome::Done;
        int errorCode = 0;
    };
    static Key keyOf(const fphost::Span &one);

    std::vector<fphost::Span> spans_;
    std::vector<Element> elements_; // those of the spans, one after the other
    std::mutex mutex_;
    std::map<Key, Word> words_; // that elements stand in
};

} // namespace fplink
