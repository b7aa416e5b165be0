// wire.h - help for the simulator's tests: frames with their check, made here and not by the code under test.

#pragma once

#include "plcsim/simulator.h"

#include <gtest/gtest.h>

#include <string>

namespace wire
{

/// A request with its check and CR: "%01#RT" -> "%01#RT15\r".
inline QByteArray checked(const QByteArray &text)
{
    static const char digits[] = "0123456789ABCDEF";
    unsigned check = 0;
    for (const char character : text)
        check ^= static_cast<unsigned char>(character);
    return text + digits[check >> 4 & 15U] + digits[check & 15U] + '\r';
}

/// One simulator with one station "01" of a large model.
struct OneStation {
    OneStation() { plc.addStation("01", 1); }
    std::string ask(const QByteArray &request) { return plc.answer(request).toStdString(); }
    std::string ask(const char *request) { return ask(QByteArray(request)); }
    /// The answer to a request that needs its check added.
    std::string askChecked(const QByteArray &text) { return ask(checked(text)); }
    quint16 word(plcsim::Area area, int number) { return plc.word("01", area, number).value(); }
    plcsim::Simulator plc;
};

} // namespace wire
