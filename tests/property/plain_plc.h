// plain_plc.h - the other side of the wire in its simplest form: takes requests apart and answers them from a map.
//
//  - A request that does not have its form to the last character is refused: parsed() is then false and answer() says
//    nothing.
//  - Words are found by the destination characters, the area's name and the number.

#ifndef PLAIN_PLC_H
#define PLAIN_PLC_H

#include <cstdint>
#include <map>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

struct PlainRequest {
    std::string destination; // two characters
    std::string command;     // "RCC", "RD", "RS", "RK", "MD", "MG", "WCS", "WCC", "WD", "WS", "WK"
    std::string area;        // "X", "Y", "R", "L", "T", "C", "DT", "LD", "FL", "SV", "EV"; empty for MD and MG
    int first = 0, last = 0; // for WCS the word and the bit
    bool checked = false;    // false: "**" stood for the check code
    std::vector<std::uint16_t> words;
    bool on = false;                                       // WCS
    std::vector<std::pair<std::string, int>> registration; // MD; empty: clear
};

/// Reads a text from its front.
class PlainReader
{
public:
    explicit PlainReader(std::string text) : m_text(std::move(text)) {}
    bool good() const { return m_good; }
    bool atEnd() const { return m_at == m_text.size(); }
    bool skip(const std::string &expected)
    {
        if (m_text.compare(m_at, expected.size(), expected) != 0)
            return false;
        m_at += expected.size();
        return true;
    }
    std::string take(std::size_t count)
    {
        m_good = m_good && m_at + count <= m_text.size();
        const std::string part = m_good ? m_text.substr(m_at, count) : std::string(count, '0');
        m_at += m_good ? count : 0;
        return part;
    }
    int decimal(std::size_t digits) { return number(digits, 10); }
    int hex(std::size_t digits) { return number(digits, 16); }
    std::string area(const std::string &letters, const std::vector<std::string> &names)
    {
        const std::size_t found = letters.find(take(1));
        m_good = m_good && found != std::string::npos;
        return m_good ? names[found] : std::string();
    }
    std::vector<std::uint16_t> words(int count)
    {
        std::vector<std::uint16_t> values;
        for (int i = 0; i < count && m_good; ++i) {
            const int low = hex(2), high = hex(2);
            values.push_back(std::uint16_t(high * 256 + low));
        }
        return values;
    }
    void fail() { m_good = false; }

private:
    int number(std::size_t digits, int base)
    {
        const std::string allowed = std::string("0123456789ABCDEF").substr(0, std::size_t(base));
        const std::string text = take(digits);
        int value = 0;
        for (const char c : text) {
            const std::size_t digit = allowed.find(c);
            m_good = m_good && digit != std::string::npos;
            value = value * base + (m_good ? int(digit) : 0);
        }
        return value;
    }

    std::string m_text;
    std::size_t m_at = 0;
    bool m_good = true;
};

inline std::string plainCheck(const std::string &text)
{
    unsigned x = 0;
    for (const char c : text)
        x ^= static_cast<unsigned char>(c);
    return {"0123456789ABCDEF"[x / 16 % 16], "0123456789ABCDEF"[x % 16]};
}

/// \return whether \a frame is a whole request, and in \a request what it says
inline bool parsed(const std::string &frame, PlainRequest &request)
{
    static const std::vector<std::string> contacts = {"X", "Y", "R", "L", "T", "C"};
    static const std::vector<std::string> registers = {"DT", "LD", "FL"};
    if (frame.size() < 9 || frame[0] != '%' || frame[3] != '#' || frame.back() != '\r')
        return false;
    const std::string text = frame.substr(0, frame.size() - 3), check = frame.substr(frame.size() - 3, 2);
    request = PlainRequest();
    request.checked = check != "**";
    if (request.checked && check != plainCheck(text))
        return false;
    request.destination = frame.substr(1, 2);
    PlainReader reader(text.substr(4));
    bool writes = false;
    for (const char *const command : {"RCC", "RD", "RS", "RK", "MD", "MG", "WCS", "WCC", "WD", "WS", "WK"}) {
        if (reader.skip(command)) {
            request.command = command;
            writes = command[0] == 'W';
            break;
        }
    }
    const std::string &command = request.command;
    if (command == "WCS") {
        request.area = reader.area("YRL", {"Y", "R", "L"});
        request.first = reader.decimal(3);
        request.last = reader.hex(1);
        request.on = reader.decimal(1) == 1;
    } else if (command == "MD") {
        if (reader.skip("FFFFFF"))
            return reader.atEnd();
        while (reader.good() && !reader.atEnd()) {
            const bool relays = reader.skip("W");
            const std::string area = relays ? reader.area("XYRL", {"X", "Y", "R", "L"})
                                            : reader.area("DLFSK", {"DT", "LD", "FL", "SV", "EV"});
            request.registration.push_back({area, reader.decimal(5)});
        }
    } else if (command == "RCC" || command == "WCC" || command == "RD" || command == "WD" || command == "RS" ||
               command == "RK" || command == "WS" || command == "WK") {
        const bool contact = command.back() == 'C', fiveDigits = command.back() == 'D';
        if (contact)
            request.area = reader.area("XYRLTC", contacts);
        else if (fiveDigits)
            request.area = reader.area("DLF", registers);
        else
            request.area = command.back() == 'S' ? "SV" : "EV";
        request.first = reader.decimal(fiveDigits ? 5 : 4);
        request.last = reader.decimal(fiveDigits ? 5 : 4);
        if (request.last < request.first)
            reader.fail();
        if (writes)
            request.words = reader.words(request.last - request.first + 1);
    } else if (command != "MG") {
        return false;
    }
    return reader.good() && reader.atEnd();
}

class PlainPlc
{
public:
    std::uint16_t &word(const std::string &destination, const std::string &area, int number)
    {
        return m_words[std::make_tuple(destination, area, number)];
    }

    /// The whole reply; empty for what is no request.
    std::string answer(const std::string &frame)
    {
        PlainRequest request;
        if (!parsed(frame, request))
            return std::string();
        std::string data;
        const auto reads = [&](const std::string &area, int number) {
            const unsigned value = word(request.destination, area, number);
            for (const unsigned digit : {value / 16 % 16, value % 16, value / 4096 % 16, value / 256 % 16})
                data += "0123456789ABCDEF"[digit];
        };
        if (request.command == "WCS") {
            std::uint16_t &held = word(request.destination, request.area, request.first);
            const unsigned mask = 1u << request.last;
            held = std::uint16_t(request.on ? held | mask : held & ~mask);
        } else if (request.command == "MD") {
            m_registered[request.destination] = request.registration;
        } else if (request.command == "MG") {
            const auto &entries = m_registered[request.destination];
            const std::size_t chars = 4 * entries.size();
            data = "100";
            data += "0123456789ABCDEF"[chars / 16 % 16];
            data += "0123456789ABCDEF"[chars % 16];
            for (const auto &entry : entries)
                reads(entry.first, entry.second);
        } else if (!request.words.empty()) {
            for (std::size_t i = 0; i < request.words.size(); ++i)
                word(request.destination, request.area, request.first + int(i)) = request.words[i];
        } else {
            for (int number = request.first; number <= request.last; ++number)
                reads(request.area, number);
        }
        const std::string text = "%" + request.destination + "$" + request.command.substr(0, 2) + data;
        return text + plainCheck(text) + "\r";
    }

private:
    std::map<std::tuple<std::string, std::string, int>, std::uint16_t> m_words;
    std::map<std::string, std::vector<std::pair<std::string, int>>> m_registered;
};

#endif
