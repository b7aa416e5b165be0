// runtime.cpp - see runtime.h.

#include "runtime.h"

#include <csignal>
#include <utility>

namespace fphost
{

namespace
{

Transport::Settings linkOf(const RuntimeSettings &settings)
{
    Transport::Settings link = settings.link;
    link.replyTimeoutMs = settings.exchange.replyTimeoutMs;
    return link;
}

} // namespace

Runtime::Runtime(const RuntimeSettings &settings)
    : settings_(settings), transport_(linkOf(settings)),
      exchanger_(session_, transport_, clock_, settings.exchange, std::random_device()())
{
}

Runtime::~Runtime()
{
    stop();
    session_.close();
}

std::optional<QString> Runtime::open()
{
    session_.close();
    if (std::optional<QString> error = library_.open(settings_.library))
        return error;
    return session_.open(library_.api(), settings_.session);
}

void Runtime::setObservers(Observers observers)
{
    exchanger_.setObservers(std::move(observers));
}

void Runtime::start()
{
    // The thread inherits a mask that leaves all signals to the program's own threads.
    sigset_t all;
    sigset_t before;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &before);
    thread_ = std::thread([this] { run(); });
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
}

void Runtime::stop()
{
    if (!thread_.joinable())
        return;
    stopping_ = true;
    transport_.interrupt();
    wake();
    thread_.join();
}

void Runtime::run()
{
    while (!stopping_) {
        const int waitMs = exchanger_.step();
        if (waitMs == 0)
            continue;
        std::unique_lock<std::mutex> lock(wakeMutex_);
        wakeUp_.wait_for(lock, std::chrono::milliseconds(waitMs), [this] { return woken_; });
        woken_ = false;
    }
    transport_.close();
}

void Runtime::wake()
{
    {
        const std::lock_guard<std::mutex> lock(wakeMutex_);
        woken_ = true;
    }
    wakeUp_.notify_one();
}

std::optional<QString> Runtime::setPolling(const std::vector<Span> &spans)
{
    std::optional<QString> whyNot = session_.setPolling(spans);
    wake();
    return whyNot;
}

Queued Runtime::read(const Span &span, RequestLedger::Done done, int ownerId)
{
    Queued queued = session_.read(span, std::move(done), ownerId);
    wake();
    return queued;
}

Queued Runtime::write(const Span &span, const QByteArray &values, RequestLedger::Done done, int ownerId)
{
    Queued queued = session_.write(span, values, std::move(done), ownerId);
    wake();
    return queued;
}

void Runtime::enableStation(int station, bool enable)
{
    session_.enableStation(station, enable);
    wake();
}

} // namespace fphost
