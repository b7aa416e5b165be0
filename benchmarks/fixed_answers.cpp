// fixed_answers.cpp - see fixed_answers.h.

#include "fixed_answers.h"

#include <stdexcept>
#include <vector>

namespace
{

const char kHexDigits[] = "0123456789ABCDEF";

const std::size_t kTextPos = 6;     // "%01#RD": what follows the two command letters both texts share
const std::size_t kTailChars = 3;   // check code and CR
const std::size_t kMonitorText = 6; // "%01#MD"

struct RangeCommand {
    const char *code;
    std::size_t firstPos; // of the first number in the request
    std::size_t digits;
};
// clang-format off
const RangeCommand kRangeCommands[] = {
    { "RD",  7, 5 },
    { "RCC", 8, 4 },
    { "RS",  6, 4 },
    { "RK",  6, 4 },
};
// clang-format on

bool hasCode(const std::string &request, const std::string &code)
{
    return request.compare(4, code.size(), code) == 0;
}

void appendWord(std::string &text, std::uint16_t word)
{
    for (const int shift : {4, 0, 12, 8}) // low byte first
        text += kHexDigits[word >> shift & 15];
}

int number(const std::string &request, std::size_t pos, std::size_t digits)
{
    return std::stoi(request.substr(pos, digits));
}

std::string rangeAnswer(const std::string &request, const RangeCommand &command)
{
    const int first = number(request, command.firstPos, command.digits);
    const int last = number(request, command.firstPos + command.digits, command.digits);
    std::string text = request.substr(0, 3) + "$" + request.substr(4, 2);
    for (int n = first; n <= last; ++n)
        appendWord(text, FixedAnswers::word(n));
    return closedFrame(text);
}

/// The numbers of a registration such as "%01#MDD00005WY00003**" and CR: 6 characters each, or 7 where two letters name
/// the area.
std::vector<int> registeredNumbers(const std::string &registration)
{
    std::vector<int> numbers;
    std::size_t pos = kMonitorText;
    while (pos + kTailChars < registration.size()) {
        const std::size_t letters = registration[pos] == 'W' ? 2 : 1;
        numbers.push_back(number(registration, pos + letters, 5));
        pos += letters + 5;
    }
    return numbers;
}

std::string monitorAnswer(const std::string &request, const std::string &registration)
{
    const std::vector<int> numbers = registeredNumbers(registration);
    std::string text = request.substr(0, 3) + "$MG" + "1" + "00";
    const std::size_t chars = numbers.size() * 4;
    text += kHexDigits[chars >> 4 & 15];
    text += kHexDigits[chars & 15];
    for (const int n : numbers)
        appendWord(text, FixedAnswers::word(n));
    return closedFrame(text);
}

std::string madeAnswer(const std::string &request, const std::string &registration)
{
    if (request.size() < kTextPos + kTailChars || request[0] != '%' || request[3] != '#')
        throw std::runtime_error("not a request: " + request);
    for (const RangeCommand &command : kRangeCommands)
        if (hasCode(request, command.code))
            return rangeAnswer(request, command);
    if (hasCode(request, "MG"))
        return monitorAnswer(request, registration);
    if (hasCode(request, "MD") || request[4] == 'W')
        return closedFrame(request.substr(0, 3) + "$" + request.substr(4, 2));
    throw std::runtime_error("no answer to " + request);
}

} // namespace

std::string closedFrame(std::string text)
{
    int check = 0;
    for (const char c : text)
        check ^= static_cast<unsigned char>(c);
    text += kHexDigits[check >> 4 & 15];
    text += kHexDigits[check & 15];
    text += '\r';
    return text;
}

const std::string &FixedAnswers::answer(const std::string &request)
{
    const bool registers = request.size() > kTextPos && hasCode(request, "MD") && !hasCode(request, "MDFFFFFF");
    if (registers)
        m_registered = request;
    const bool executes = request.size() > kTextPos && hasCode(request, "MG");
    const auto known = m_answers.find(executes ? m_registered + request : request);
    if (known != m_answers.end())
        return known->second;
    return m_answers[executes ? m_registered + request : request] = madeAnswer(request, m_registered);
}
