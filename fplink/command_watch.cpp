// command_watch.cpp - fplink watch: reads values cyclically and shows them as they change.
//
//  - On a terminal: a table that is drawn again and again until Ctrl-C. Otherwise: lines of changes for some seconds.
//    Both end with a summary.

#include "commands.h"

#include "demo.h"
#include "interrupt.h"
#include "shown_text.h"
#include "value_table.h"
#include "watch_list.h"

#include "host/plc_errors.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <map>

namespace fplink
{

namespace
{

using fphost::Count;
using fphost::Outcome;
using SteadyClock = std::chrono::steady_clock;

constexpr double kUsualSeconds = 5;
constexpr double kShortestSeconds = 0.05;
constexpr double kLongestSeconds = 1e6;
constexpr double kSecondsToJudge = 1; // all that moves in the demonstration has moved by then
constexpr int kRefreshMs = 200;
constexpr int kUsualCycleMs = 100;
constexpr int kLongestCycleMs = 3600000;
constexpr int kMostWatched = 10000; // that a person, or a pipe, can follow
constexpr int kUsualRows = 24;      // of a terminal that does not say how many it has
constexpr int kRowsAround = 6;      // around the table: head, gaps, last write, what is not shown, cursor

struct WatchOptions {
    LinkOptions link;
    std::vector<std::string> addresses;
    double seconds = 0; // 0 = not given
    bool asSigned = false;

    bool demo() const { return addresses.empty(); }
};

class Watch
{
public:
    Watch(const WatchOptions &options, const std::vector<fphost::Span> &spans, bool terminal)
        : options_(options), spans_(spans), terminal_(terminal), list_(spans), connection_(options.link)
    {
    }

    std::optional<Failure> run();

private:
    std::optional<Failure> begin();
    void watch();
    void showChanges(const std::vector<WatchList::Change> &changes) const;
    void showTable();
    void showSummary();
    void summariseKinds() const;
    void summariseWrites() const;
    std::optional<Failure> verdict();
    std::optional<Failure> demoVerdict();

    QString stateText(const WatchList::Element &element) const;
    QString nameOf(const WatchList::Element &element) const
    {
        return addressOf(element.span, connection_.severalStations());
    }
    QString headLine();
    std::map<int, int> changesPerKind() const;
    double secondsPassed() const { return std::chrono::duration<double>(SteadyClock::now() - start_).count(); }
    unsigned long long count(Count what) { return connection_.runtime().counters()[what]; }

    const WatchOptions &options_;
    const std::vector<fphost::Span> spans_;
    const bool terminal_;
    SteadyClock::time_point start_ = SteadyClock::now();
    double ranSeconds_ = 0;
    std::unique_ptr<DemoWrites> writes_; // in the demonstration
    QString lastWrite_;
    WatchList list_;
    Connection connection_; // its thread uses the list
};

std::optional<Failure> Watch::run()
{
    if (std::optional<Failure> failure = begin())
        return failure;
    watch();
    showSummary();
    return verdict();
}

std::optional<Failure> Watch::begin()
{
    fphost::Observers observers;
    observers.exchange = [this](const fphost::ExchangeReport &report) { list_.served(report); };
    if (std::optional<Failure> failure = connection_.open(spans_, observers))
        return failure;
    if (const std::optional<QString> why = connection_.runtime().setPolling(spans_))
        return Failure{ExitCode::Usage, *why};
    if (std::optional<Failure> failure = connection_.waitForLink())
        return failure;
    if (options_.demo())
        writes_ = std::make_unique<DemoWrites>(connection_);
    catchInterrupts();
    start_ = SteadyClock::now();
    if (!terminal_)
        printLine(headLine());
    return std::nullopt;
}

void Watch::watch()
{
    const double seconds = options_.seconds > 0 ? options_.seconds : terminal_ ? kLongestSeconds : kUsualSeconds;
    while (!interrupted() && secondsPassed() < seconds) {
        waitOrInterrupt(std::min(kRefreshMs, std::max(1, static_cast<int>(1000 * (seconds - secondsPassed())))));
        const auto changes =
            list_.sample([this](const fphost::Span &span) { return connection_.runtime().values(span); });
        if (terminal_)
            showTable();
        else
            showChanges(changes);
        if (!writes_ || interrupted())
            continue;
        lastWrite_ = writes_->writeNext();
        if (!terminal_)
            printLine(QStringLiteral("%1 s  write %2").arg(secondsPassed(), 7, 'f', 2).arg(lastWrite_));
    }
    ranSeconds_ = secondsPassed();
}

QString Watch::headLine()
{
    return connection_.plcText() + QStringLiteral(": %1 elements, %2 exchanges, %3 failed")
                                       .arg(list_.elements().size())
                                       .arg(count(Count::Exchanges))
                                       .arg(count(Count::Failures));
}

QString Watch::stateText(const WatchList::Element &element) const
{
    switch (element.state) {
    case WatchList::State::Waiting:
        return QStringLiteral("not read yet");
    case WatchList::State::Failed:
        return element.outcome == Outcome::Refused ? fphost::errorName(element.errorCode)
                                                   : QString::fromLatin1(fphost::outcomeText(element.outcome));
    case WatchList::State::Good:
        break;
    }
    return QString();
}

void Watch::showChanges(const std::vector<WatchList::Change> &changes) const
{
    QString lines;
    for (const WatchList::Change &change : changes) {
        const WatchList::Element &element = list_.elements()[change.element];
        const int kind = element.span.kind;
        const QString before = change.first
                                   ? QStringLiteral("=")
                                   : decimalText(kind, change.before, options_.asSigned) + QStringLiteral(" ->");
        lines += QStringLiteral("%1 s  %2 %3 %4  %5\n")
                     .arg(secondsPassed(), 7, 'f', 2)
                     .arg(nameOf(element).leftJustified(8), before.rightJustified(9),
                          decimalText(kind, element.value, options_.asSigned).rightJustified(5),
                          hexText(kind, element.value));
    }
    print(lines);
}

void Watch::showTable()
{
    winsize size = {};
    const bool told = ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_row > kRowsAround;
    const std::size_t rows = static_cast<std::size_t>((told ? size.ws_row : kUsualRows) - kRowsAround);
    const std::vector<WatchList::Element> &elements = list_.elements();
    QString screen = QStringLiteral("\x1b[H\x1b[J") + shown(headLine()) + QStringLiteral("; Ctrl-C ends\n\n");
    for (std::size_t i = 0; i < std::min(rows, elements.size()); ++i) {
        const WatchList::Element &element = elements[i];
        const int kind = element.span.kind;
        const QString value = element.known ? decimalText(kind, element.value, options_.asSigned) : QStringLiteral("-");
        screen += QStringLiteral("%1 %2  %3  %4 changes  %5\n")
                      .arg(nameOf(element).leftJustified(10), value.rightJustified(6),
                           (element.known ? hexText(kind, element.value) : QString()).leftJustified(6))
                      .arg(element.changes, 6)
                      .arg(stateText(element));
    }
    if (elements.size() > rows)
        screen += QStringLiteral("... and %1 more\n").arg(elements.size() - rows);
    if (!lastWrite_.isEmpty())
        screen += QStringLiteral("\nwrite %1\n").arg(shown(lastWrite_));
    print(screen);
}

std::map<int, int> Watch::changesPerKind() const
{
    std::map<int, int> changes;
    for (const WatchList::Element &element : list_.elements())
        changes[element.span.kind] += element.changes;
    return changes;
}

void Watch::showSummary()
{
    const unsigned long long good = count(Count::Good);
    print(QStringLiteral("\n"));
    printLine(QStringLiteral("Summary: %1 s, %2 exchanges, %3 failed, %4 per second, %5 ms to reply on average")
                  .arg(ranSeconds_, 0, 'f', 1)
                  .arg(count(Count::Exchanges))
                  .arg(count(Count::Failures))
                  .arg(static_cast<double>(count(Count::Exchanges)) / std::max(ranSeconds_, 0.001), 0, 'f', 0)
                  .arg(good ? static_cast<double>(count(Count::ReplyUs)) / static_cast<double>(good) / 1000 : 0.0, 0,
                       'f', 2));
    summariseKinds();
    if (writes_)
        summariseWrites();
}

void Watch::summariseKinds() const
{
    const std::map<int, int> changes = changesPerKind();
    for (const auto &[kind, number] : changes) {
        int elements = 0;
        int unread = 0;
        for (const WatchList::Element &element : list_.elements()) {
            elements += element.span.kind == kind;
            unread += element.span.kind == kind && !element.known;
        }
        printLine(QStringLiteral("  %1 %2 element%3, %4%5")
                      .arg(QString::fromLatin1(fphost::areaRow(kind)->name).leftJustified(3))
                      .arg(elements)
                      .arg(elements == 1 ? QString() : QStringLiteral("s"))
                      .arg(number == 0   ? QStringLiteral("unchanged")
                           : number == 1 ? QStringLiteral("changed once")
                                         : QStringLiteral("changed %1 times").arg(number),
                           unread ? QStringLiteral(", %1 never read").arg(unread) : QString()));
    }
}

void Watch::summariseWrites() const
{
    printLine(QStringLiteral("Writes, looked up in the PLC's memory:"));
    for (const DemoTarget &target : writes_->targets()) {
        const QString outcome = target.written == 0                ? QStringLiteral("not written yet")
                                : target.written == target.arrived ? QStringLiteral("arrived")
                                                                   : target.trouble;
        printLine(QStringLiteral("  %1 = %2  %3 of %4 %5")
                      .arg(addressOf(target.span, false).leftJustified(8), target.last.leftJustified(18))
                      .arg(target.arrived)
                      .arg(target.written)
                      .arg(outcome));
    }
}

// Nothing was read at all: the first element's trouble is the answer. A demonstration has to be without a fault.
std::optional<Failure> Watch::verdict()
{
    if (options_.demo())
        return demoVerdict();
    for (const WatchList::Element &element : list_.elements()) {
        if (element.known)
            return std::nullopt;
    }
    for (const WatchList::Element &element : list_.elements()) {
        if (element.state != WatchList::State::Failed)
            continue;
        fphost::Finished finished;
        finished.span = element.span;
        finished.outcome = element.outcome;
        finished.errorCode = element.errorCode;
        return connection_.failureOf(finished);
    }
    if (interrupted())
        return std::nullopt;
    return Failure{ExitCode::TimeOut, QStringLiteral("nothing was read within %1 s").arg(ranSeconds_, 0, 'f', 1)};
}

std::optional<Failure> Watch::demoVerdict()
{
    if (count(Count::Failures) > 0)
        return Failure{ExitCode::Failed, QStringLiteral("%1 exchanges failed").arg(count(Count::Failures))};
    for (const DemoTarget &target : writes_->targets()) {
        if (target.arrived != target.written)
            return Failure{ExitCode::Failed, target.trouble};
    }
    if (ranSeconds_ < kSecondsToJudge)
        return std::nullopt;
    for (const auto &[kind, changes] : changesPerKind()) {
        if (changes == 0)
            return Failure{ExitCode::Failed,
                           QStringLiteral("%1 did not change").arg(QLatin1String(fphost::areaRow(kind)->name))};
    }
    return std::nullopt;
}

std::optional<Failure> runWatch(const WatchOptions &options)
{
    std::vector<fphost::Span> spans;
    if (options.demo() && !options.link.plc.isEmpty())
        return Failure{ExitCode::Usage,
                       QStringLiteral("say which addresses of %1 to watch").arg(quoted(options.link.plc))};
    if (std::optional<Failure> failure = parseAddresses(options.addresses, options.link.station, &spans))
        return failure;
    if (options.demo())
        spans = demoSpans();
    int elements = 0;
    for (const fphost::Span &span : spans) {
        if (const std::optional<QString> why = fphost::whyNotReadable(span))
            return Failure{ExitCode::Usage, *why};
        elements += span.count;
        if (elements > kMostWatched)
            return Failure{ExitCode::Usage,
                           QStringLiteral("more than %1 elements cannot be watched").arg(kMostWatched)};
    }
    const bool terminal = isatty(STDIN_FILENO) && isatty(STDOUT_FILENO);
    return Watch(options, spans, terminal).run();
}

} // namespace

RunCommand addWatchCommand(CLI::App &command)
{
    const auto options = std::make_shared<WatchOptions>();
    options->link.cycleMs = kUsualCycleMs;
    command
        .add_option("address", options->addresses,
                    "what to watch: DT100, DT100:8, R10F ...; left out: a demonstration with the embedded simulator")
        ->type_name("");
    addLinkOptions(command, options->link);
    command
        .add_option("--seconds", options->seconds,
                    "how long to watch; left out: until Ctrl-C on a terminal, otherwise 5 seconds")
        ->check(between(kShortestSeconds, kLongestSeconds))
        ->type_name("S");
    command.add_option("--every", options->link.cycleMs, "from one round of reads to the next; 0: without a pause")
        ->check(between(0, kLongestCycleMs))
        ->type_name("MS")
        ->capture_default_str();
    command.add_flag("--signed", options->asSigned, "show words as -32768 to 32767");
    command.footer(kAddressHelp + exitCodeHelp());
    return [options] { return runWatch(*options); };
}

} // namespace fplink
