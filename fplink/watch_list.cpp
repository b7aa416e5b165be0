// watch_list.cpp - see watch_list.h.

#include "watch_list.h"

#include "numbers.h"

namespace fplink
{

using fphost::Outcome;
using fphost::Span;

WatchList::WatchList(const std::vector<Span> &spans) : spans_(spans)
{
    for (const Span &span : spans) {
        for (int i = 0; i < span.count; ++i) {
            Element element;
            element.span = {span.kind, span.first + i, 1, span.station};
            elements_.push_back(element);
            words_[keyOf(element.span)];
        }
    }
}

WatchList::Key WatchList::keyOf(const Span &one)
{
    const Span word = fphost::wordsOf(one);
    return {word.station, word.kind, word.first};
}

void WatchList::served(const fphost::ExchangeReport &report)
{
    if (!report.ended || report.kind == RequestWrite)
        return;
    const bool good = report.outcome == Outcome::Done;
    const std::lock_guard<std::mutex> lock(mutex_);
    for (const Span &span : report.spans) {
        const Span words = fphost::wordsOf(span);
        for (int i = 0; i < words.count; ++i) {
            const auto found = words_.find({words.station, words.kind, words.first + i});
            if (found == words_.end())
                continue;
            Word &word = found->second;
            word.fresh = word.fresh || good;
            word.state = good ? State::Good : State::Failed;
            word.outcome = report.outcome;
            word.errorCode = report.errorCode;
        }
    }
}

std::vector<WatchList::Change> WatchList::sample(const std::function<QByteArray(const Span &)> &values)
{
    std::map<Key, Word> words;
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        words = words_;
        for (auto &[key, word] : words_)
            word.fresh = false;
    }
    std::vector<Change> changes;
    std::size_t index = 0;
    for (const Span &span : spans_) {
        const QByteArray bytes = values(span);
        for (int i = 0; i < span.count; ++i, ++index) {
            Element &element = elements_[index];
            const Word &word = words[keyOf(element.span)];
            element.state = word.state;
            element.outcome = word.outcome;
            element.errorCode = word.errorCode;
            if (!word.fresh)
                continue;
            const int value = valueAt(bytes, span.kind, i);
            if (!element.known)
                changes.push_back({index, true, 0});
            else if (element.value != value)
                changes.push_back({index, false, element.value});
            element.changes += element.known && element.value != value;
            element.known = true;
            element.value = value;
        }
    }
    return changes;
}

} // namespace fplink
