// byte_pipe.h - what the host's exchange of frames needs from the world: one connection, and the time.
//
//  - The exchanger knows nothing but these two, so that a test can run it without sockets and without waiting: its pipe
//    lets its own clock run on instead of sleeping.
//  - One thread uses a pipe.

#pragma once

#include <QtCore/QString>

#include <optional>

namespace fphost
{

constexpr qint64 kUsPerMs = 1000;

class Clock
{
public:
    virtual ~Clock() = default;

    /// Microseconds since any fixed moment; never runs backwards.
    virtual qint64 nowUs() = 0;
};

enum class Piped {
    Bytes,    ///< one or more bytes came
    TimedOut, ///< none came within the time
    Closed    ///< the other side is gone, or stop was asked for; the pipe has closed itself
};

/// One connection to the PLC's side.
class BytePipe
{
public:
    virtual ~BytePipe() = default;

    /// Connects. Takes at most the pipe's own connect time-out. Bytes that an earlier connection has not delivered are
    /// never seen again.
    /// Result: nothing, or one line that says what could not be reached and why.
    virtual std::optional<QString> open() = 0;

    virtual bool isOpen() const = 0;

    /// Sends all bytes. False: the connection is gone, and the pipe has closed itself.
    virtual bool send(const char *bytes, int count) = 0;

    /// Waits for bytes.
    /// \param to         room for \a room bytes, 1 or more
    /// \param count      number of bytes that came, 1 to \a room; 0 unless the result is Bytes
    /// \param timeoutUs  longest wait; 0 = take only what is already here
    virtual Piped receive(char *to, int room, int *count, qint64 timeoutUs) = 0;

    /// Closes the connection; does nothing when there is none.
    virtual void close() = 0;
};

} // namespace fphost
