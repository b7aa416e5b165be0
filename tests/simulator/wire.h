// wire.h - help for the simulator's tests: a simulator with one station, and checks that the tests compute themselves.

#pragma once

#include "plcsim/simulator.h"

#include <gtest/gtest.h>

#include <string>

namespace wire
{

/// A frame with its check and CR, for frames too long to be typed: "%01#RT" -> "%01#RT15\r".
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
    explicit OneStation(const plcsim::StationSettings &settings) { plc.addStation("01", 1, settings); }
    std::string ask(const QByteArray &request) { return plc.answer(request).toStdString(); }
    std::string ask(const char *request) { return ask(QByteArray(request)); }
    quint16 word(plcsim::Area area, int number) { return plc.word("01", area, number).value(); }
    bool bit(plcsim::Area area, int number) { return plc.bit("01", area, number).value(); }
    plcsim::Simulator plc;
};

} // namespace wire
