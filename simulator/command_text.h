// command_text.h - takes the text of a command apart, field by field.
//
//  - The first fault stands: later fields then read as nothing, and refusal() tells what to answer.
//  - A field that is not there at all is a missing parameter, one that is cut short has a wrong length.

#pragma once

#include "station.h"

namespace plcsim
{

/// Which letter names which area in a command.
struct Letter {
    char letter;
    Area area;
};
struct Letters {
    const Letter *first;
    int count;
};

class CommandText
{
public:
    CommandText(const char *text, int size) : at_(text), left_(size) {}

    Refusal refusal() const { return refusal_; }
    bool good() const { return refusal_ == Refusal::None; }
    bool atEnd() const { return left_ == 0; }
    int left() const { return left_; }

    /// The rest is exactly this text, which is taken.
    bool takeAll(const char *text);

    /// The next character, without taking it; 0 at the end.
    char peek() const { return left_ > 0 ? *at_ : '\0'; }
    void skip(int characters);

    /// An area letter; Parameter for a letter that the command does not have.
    Area area(const Letters &letters);

    /// \a digits decimal digits; Data for anything else.
    int decimal(int digits);

    /// Four characters: three decimal digits of the word and one hexadecimal digit of the bit.
    Contact contact(Area area);

    /// First and last number of \a digits decimal digits each; Data when the first is above the last.
    Span span(Area area, int digits);

    /// Four hexadecimal characters, low byte first; Data for anything else.
    quint16 word();

    /// '0' or '1'; Data for anything else.
    bool state();

    /// Nothing may be left; a surplus parameter otherwise.
    void end();

    void refuse(Refusal refusal);

private:
    const char *field(int characters);

    const char *at_;
    int left_;
    Refusal refusal_ = Refusal::None;
};

} // namespace plcsim
