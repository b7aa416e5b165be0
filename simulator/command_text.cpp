// command_text.cpp - fields of a command's text.

#include "command_text.h"

#include <cstring>

namespace plcsim
{

void CommandText::refuse(Refusal refusal)
{
    if (refusal_ == Refusal::None)
        refusal_ = refusal;
}

const char *CommandText::field(int characters)
{
    if (!good())
        return nullptr;
    if (left_ < characters) {
        refuse(left_ == 0 ? Refusal::Parameter : Refusal::Format);
        return nullptr;
    }
    const char *start = at_;
    at_ += characters;
    left_ -= characters;
    return start;
}

bool CommandText::takeAll(const char *text)
{
    const int size = static_cast<int>(std::strlen(text));
    if (left_ != size || std::memcmp(at_, text, static_cast<std::size_t>(size)) != 0)
        return false;
    left_ = 0;
    return true;
}

void CommandText::skip(int characters)
{
    field(characters);
}

Area CommandText::area(const Letters &letters)
{
    const char *letter = field(1);
    for (int i = 0; letter != nullptr && i < letters.count; ++i) {
        if (letters.first[i].letter == *letter)
            return letters.first[i].area;
    }
    refuse(Refusal::Parameter);
    return Area::X;
}

int CommandText::decimal(int digits)
{
    const char *characters = field(digits);
    int value = 0;
    for (int i = 0; characters != nullptr && i < digits; ++i) {
        if (characters[i] < '0' || characters[i] > '9') {
            refuse(Refusal::Data);
            return 0;
        }
        value = value * 10 + (characters[i] - '0');
    }
    return value;
}

Contact CommandText::contact(Area area)
{
    if (good() && left_ > 0 && left_ < 4)
        refuse(Refusal::Format); // the four characters are one field
    const int word = decimal(3);
    const char *digit = field(1);
    const int bit = digit != nullptr ? hexDigit(*digit) : 0;
    if (bit < 0)
        refuse(Refusal::Data);
    return {area, word, bit < 0 ? 0 : bit};
}

Span CommandText::span(Area area, int digits)
{
    const int first = decimal(digits);
    const int last = decimal(digits);
    if (first > last)
        refuse(Refusal::Data);
    return {area, first, last};
}

quint16 CommandText::word()
{
    const char *digits = field(kCharsPerWord);
    if (digits == nullptr)
        return 0;
    const int d0 = hexDigit(digits[0]);
    const int d1 = hexDigit(digits[1]);
    const int d2 = hexDigit(digits[2]);
    const int d3 = hexDigit(digits[3]);
    if ((d0 | d1 | d2 | d3) < 0) {
        refuse(Refusal::Data);
        return 0;
    }
    return static_cast<quint16>(d2 << 12 | d3 << 8 | d0 << 4 | d1);
}

bool CommandText::state()
{
    const char *character = field(1);
    if (character != nullptr && *character != '0' && *character != '1')
        refuse(Refusal::Data);
    return character != nullptr && *character == '1';
}

void CommandText::end()
{
    if (left_ > 0)
        refuse(Refusal::Parameter);
}

} // namespace plcsim
