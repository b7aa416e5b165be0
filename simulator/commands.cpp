// commands.cpp - what a unit does with a request frame: the tests of the frame, then the command.
//
// The order of the tests where more than one thing is wrong: size of the frame, multi-frame delimiter, check, form,
// command known and allowed, the fields from left to right, area and protection, size of the response.

#include "command_text.h"
#include "station.h"

#include <algorithm>

namespace plcsim
{

namespace
{

constexpr int kMostContacts = 8;         // of RCP and WCP
constexpr int kMostMonitorItems = 16;    // of MD
constexpr int kMostMonitorContacts = 80; // of MC
constexpr int kContactNameChars = 1 + 4; // letter, contact
constexpr char kDelimiter = '&';         // ends a part of a multi-frame message
constexpr char kNoCheck = '*';
constexpr char kTenScansOrMore = 'A';

struct CommandRow;

/// One command being executed.
struct Call {
    Station &station;
    const CommandRow &row;
    CommandText text;
    int roomForData;  // characters that the response may carry
    QByteArray *data; // of the response
    bool *executedWrite;
};

struct CommandRow {
    const char *name;
    Refusal (*execute)(Call &call);
    Letters letters;
    int digits; // of the numbers of a block
};

Refusal refusalIfTooLong(const Call &call, int characters)
{
    return characters > call.roomForData ? Refusal::FrameOver : Refusal::None;
}

Span wordOf(const Contact &contact)
{
    return {contact.area, contact.word, contact.word};
}

Refusal mayRead(const Station &station, const std::vector<Contact> &contacts)
{
    Refusal refusal = Refusal::None;
    for (std::size_t i = 0; i < contacts.size() && refusal == Refusal::None; ++i)
        refusal = station.mayRead(wordOf(contacts[i]));
    return refusal;
}

Refusal mayRead(const Station &station, const std::vector<Span> &items)
{
    Refusal refusal = Refusal::None;
    for (std::size_t i = 0; i < items.size() && refusal == Refusal::None; ++i)
        refusal = station.mayRead(items[i]);
    return refusal;
}

/// The area of a command: named by a letter, or the only one that the command has.
Area takeArea(Call &call)
{
    const Letters &letters = call.row.letters;
    return letters.first->letter == '\0' ? letters.first->area : call.text.area(letters);
}

// Single contacts -----------------------------------------------------------------------------------------------------

std::vector<Contact> takeContacts(Call &call, int count, std::vector<bool> *states)
{
    std::vector<Contact> contacts;
    for (int i = 0; i < count && call.text.good(); ++i) {
        const Area area = takeArea(call);
        contacts.push_back(call.text.contact(area));
        if (states != nullptr)
            states->push_back(call.text.state());
    }
    call.text.end();
    return contacts;
}

/// The number of contacts in RCP and WCP.
int takeCount(Call &call)
{
    const int count = call.text.decimal(1);
    if (count < 1 || count > kMostContacts)
        call.text.refuse(Refusal::Data);
    return count;
}

Refusal answerContacts(Call &call, int count)
{
    const std::vector<Contact> contacts = takeContacts(call, count, nullptr);
    Refusal refusal = call.text.good() ? mayRead(call.station, contacts) : call.text.refusal();
    if (refusal == Refusal::None)
        refusal = refusalIfTooLong(call, count);
    if (refusal != Refusal::None)
        return refusal;
    for (const Contact &contact : contacts)
        call.data->append(call.station.bit(contact) ? '1' : '0');
    return Refusal::None;
}

Refusal storeContacts(Call &call, int count)
{
    std::vector<bool> states;
    const std::vector<Contact> contacts = takeContacts(call, count, &states);
    Refusal refusal = call.text.refusal();
    for (std::size_t i = 0; i < contacts.size() && refusal == Refusal::None; ++i)
        refusal = call.station.mayWrite(wordOf(contacts[i]));
    if (refusal != Refusal::None)
        return refusal;
    for (std::size_t i = 0; i < contacts.size(); ++i)
        call.station.setBit(contacts[i], states[i]);
    *call.executedWrite = true;
    return Refusal::None;
}

Refusal readContact(Call &call)
{
    return answerContacts(call, 1);
}
Refusal writeContact(Call &call)
{
    return storeContacts(call, 1);
}

Refusal readContacts(Call &call)
{
    const int count = takeCount(call);
    return answerContacts(call, count);
}

Refusal writeContacts(Call &call)
{
    const int count = takeCount(call);
    return storeContacts(call, count);
}

// Blocks of words -----------------------------------------------------------------------------------------------------

void appendWords(QByteArray *data, const Station &station, const Span &span)
{
    data->reserve(data->size() + kCharsPerWord * span.words());
    for (int number = span.first; number <= span.last; ++number)
        appendWord(data, station.word(span.area, number));
}

Refusal readBlock(Call &call)
{
    const Area area = takeArea(call);
    const Span span = call.text.span(area, call.row.digits);
    call.text.end();
    if (!call.text.good())
        return call.text.refusal();
    Refusal refusal = call.station.mayRead(span);
    if (refusal == Refusal::None)
        refusal = refusalIfTooLong(call, kCharsPerWord * span.words());
    if (refusal == Refusal::None)
        appendWords(call.data, call.station, span);
    return refusal;
}

Refusal writeBlock(Call &call)
{
    const Area area = takeArea(call);
    const Span span = call.text.span(area, call.row.digits);
    std::vector<quint16> words;
    for (int i = 0; i < span.words() && call.text.good(); ++i)
        words.push_back(call.text.word());
    call.text.end();
    if (!call.text.good())
        return call.text.refusal();
    const Refusal refusal = call.station.mayWrite(span);
    if (refusal != Refusal::None)
        return refusal;
    for (int i = 0; i < span.words(); ++i)
        call.station.setWord(area, span.first + i, words[static_cast<std::size_t>(i)]);
    *call.executedWrite = true;
    return Refusal::None;
}

// Monitor -------------------------------------------------------------------------------------------------------------

// clang-format off
constexpr Letter kContactLetters[] = {
    { 'X', Area::X }, { 'Y', Area::Y }, { 'R', Area::R }, { 'L', Area::L }, { 'T', Area::T }, { 'C', Area::C },
};
constexpr Letter kOutputLetters[]  = { { 'Y', Area::Y }, { 'R', Area::R }, { 'L', Area::L } };
constexpr Letter kDataLetters[]    = { { 'D', Area::DT }, { 'L', Area::LD }, { 'F', Area::FL } };
constexpr Letter kSetValue[]       = { { '\0', Area::SV } };
constexpr Letter kElapsedValue[]   = { { '\0', Area::EV } };
constexpr Letter kMonitorData[]    = {
    { 'D', Area::DT }, { 'L', Area::LD }, { 'F', Area::FL }, { 'S', Area::SV }, { 'K', Area::EV },
};
constexpr Letter kMonitorWords[]   = {  // after a 'W'
    { 'X', Area::X }, { 'Y', Area::Y }, { 'R', Area::R }, { 'L', Area::L },
};
// clang-format on

template <std::size_t N> constexpr Letters lettersOf(const Letter (&letters)[N])
{
    return {letters, static_cast<int>(N)};
}

Span takeMonitorItem(CommandText &text)
{
    const bool relayWord = text.peek() == 'W';
    if (relayWord)
        text.skip(1);
    const Area area = text.area(relayWord ? lettersOf(kMonitorWords) : lettersOf(kMonitorData));
    const int number = text.decimal(5);
    return {area, number, number};
}

Refusal registerData(Call &call)
{
    if (call.text.takeAll("FFFFFF")) {
        call.station.registration.items.clear();
        return Refusal::None;
    }
    std::vector<Span> items;
    do {
        items.push_back(takeMonitorItem(call.text));
    } while (call.text.good() && !call.text.atEnd());
    const Refusal refusal = call.text.good() ? mayRead(call.station, items) : call.text.refusal();
    if (refusal != Refusal::None)
        return refusal;
    if (items.size() > kMostMonitorItems || !call.station.registration.items.empty())
        return Refusal::Registration;
    call.station.registration.items = items;
    return Refusal::None;
}

Refusal registerContacts(Call &call)
{
    if (call.text.takeAll("FFFFF")) {
        call.station.registration.contacts.clear();
        return Refusal::None;
    }
    const int count = std::max(1, (call.text.left() + kContactNameChars - 1) / kContactNameChars);
    const std::vector<Contact> contacts = takeContacts(call, count, nullptr);
    const Refusal refusal = call.text.good() ? mayRead(call.station, contacts) : call.text.refusal();
    if (refusal != Refusal::None)
        return refusal;
    if (contacts.size() > kMostMonitorContacts || !call.station.registration.contacts.empty())
        return Refusal::Registration;
    call.station.registration.contacts = contacts;
    return Refusal::None;
}

void appendTwoDecimals(QByteArray *data, std::size_t value)
{
    data->append(static_cast<char>('0' + value / 10 % 10));
    data->append(static_cast<char>('0' + value % 10));
}

Refusal monitor(Call &call)
{
    call.text.end();
    if (!call.text.good())
        return call.text.refusal();
    Station &station = call.station;
    const Station::Registration &registered = station.registration;
    if (registered.contacts.empty() && registered.items.empty())
        return Refusal::Registration;
    const std::size_t wordChars = kCharsPerWord * registered.items.size();
    const std::size_t size = 1 + 2 + registered.contacts.size() + 2 + wordChars;
    Refusal refusal = mayRead(station, registered.contacts);
    if (refusal == Refusal::None)
        refusal = mayRead(station, registered.items);
    if (refusal == Refusal::None)
        refusal = refusalIfTooLong(call, static_cast<int>(size));
    if (refusal != Refusal::None)
        return refusal;

    const int scans = station.scansSinceLastMonitor();
    call.data->append(scans < 10 ? static_cast<char>('0' + scans) : kTenScansOrMore);
    appendTwoDecimals(call.data, registered.contacts.size());
    for (const Contact &contact : registered.contacts)
        call.data->append(station.bit(contact) ? '1' : '0');
    appendTwoDecimals(call.data, wordChars);
    for (const Span &item : registered.items)
        appendWord(call.data, station.word(item.area, item.first));
    return Refusal::None;
}

// Status --------------------------------------------------------------------------------------------------------------

Refusal readStatus(Call &call)
{
    constexpr int kRunBit = 0x01; // of the operating mode
    call.text.end();
    if (!call.text.good())
        return call.text.refusal();
    const StationSettings &settings = call.station.settings();
    const Identity &identity = settings.identity;
    appendHexByte(call.data, identity.model);
    appendHexByte(call.data, identity.version);
    appendHexByte(call.data, identity.programSize);
    appendHexByte(call.data, settings.mode == Mode::Run ? kRunBit : 0);
    appendHexByte(call.data, identity.link);
    appendHexByte(call.data, identity.errorFlags);
    appendWord(call.data, identity.selfDiagnosis);
    return refusalIfTooLong(call, call.data->size());
}

// clang-format off
const CommandRow kCommands[] = {
    // name  execute           letters                      digits
    { "RCS", readContact,      lettersOf(kContactLetters),  0 },
    { "RCP", readContacts,     lettersOf(kContactLetters),  0 },
    { "RCC", readBlock,        lettersOf(kContactLetters),  4 },
    { "WCS", writeContact,     lettersOf(kOutputLetters),   0 },
    { "WCP", writeContacts,    lettersOf(kOutputLetters),   0 },
    { "WCC", writeBlock,       lettersOf(kOutputLetters),   4 },
    { "RD",  readBlock,        lettersOf(kDataLetters),     5 },
    { "WD",  writeBlock,       lettersOf(kDataLetters),     5 },
    { "RS",  readBlock,        lettersOf(kSetValue),        4 },
    { "RK",  readBlock,        lettersOf(kElapsedValue),    4 },
    { "WS",  writeBlock,       lettersOf(kSetValue),        4 },
    { "WK",  writeBlock,       lettersOf(kElapsedValue),    4 },
    { "MD",  registerData,     { nullptr, 0 },              0 },
    { "MC",  registerContacts, lettersOf(kContactLetters),  0 },
    { "MG",  monitor,          { nullptr, 0 },              0 },
    { "RT",  readStatus,       { nullptr, 0 },              0 },
};
// clang-format on

const CommandRow *commandAt(const char *text, int size)
{
    for (const CommandRow &row : kCommands) {
        const int length = static_cast<int>(qstrlen(row.name));
        if (size >= length && std::equal(row.name, row.name + length, text))
            return &row;
    }
    return nullptr;
}

/// The tests that come before the command. \param body  the size up to the check
Refusal frameRefusal(const QByteArray &request, int limit, int body)
{
    if (request.size() > limit)
        return Refusal::FrameOver;
    if (request.size() >= 2 && request.at(request.size() - 2) == kDelimiter)
        return Refusal::Procedure;
    if (body < kFrameHead + kEchoChars)
        return Refusal::Format;
    const char high = request.at(body);
    const char low = request.at(body + 1);
    if (high != kNoCheck || low != kNoCheck) {
        QByteArray check;
        appendHexByte(&check, checkOf(request.constData(), body));
        if (check.at(0) != high || check.at(1) != low)
            return Refusal::Check;
    }
    return request.at(kFrameHead - 1) == '#' ? Refusal::None : Refusal::Format;
}

Refusal execute(Station &station, const QByteArray &request, int limit, QByteArray *body, bool *executedWrite)
{
    const int textEnd = request.size() - kFrameTail;
    Refusal refusal = frameRefusal(request, limit, textEnd);
    if (refusal != Refusal::None)
        return refusal;
    const char *text = request.constData() + kFrameHead;
    const int textSize = textEnd - kFrameHead;
    const CommandRow *row = commandAt(text, textSize);
    if (row == nullptr)
        return Refusal::NotSupported;
    const int nameSize = static_cast<int>(qstrlen(row->name));
    refusal = station.mayExecute(QByteArray::fromRawData(row->name, nameSize));
    if (refusal != Refusal::None)
        return refusal;
    body->append(row->name, kEchoChars);
    QByteArray data;
    Call call = {station, *row,         CommandText(text + nameSize, textSize - nameSize), limit - kBareResponse,
                 &data,   executedWrite};
    refusal = row->execute(call);
    body->append(data);
    return refusal;
}

} // namespace

bool isCommand(const QByteArray &name)
{
    const auto hasName = [&name](const CommandRow &row) { return name == row.name; };
    return std::any_of(std::begin(kCommands), std::end(kCommands), hasName);
}

QByteArray respond(Station &station, const QByteArray &request, bool *executedWrite)
{
    const char header = request.at(0);
    const bool extended = header == kExtendedHeader;
    const StationSettings &settings = station.settings();
    if (extended && !settings.extendedFrames)
        return QByteArray();
    const QByteArray echoed = request.mid(1, kDestinationChars);
    const int limit = station.faults.frameLimit(extended ? settings.extendedFrameLimit : settings.frameLimit);
    QByteArray body;
    const Refusal refusal = execute(station, request, limit, &body, executedWrite);
    return refusal == Refusal::None ? responseFrame(header, echoed, '$', body)
                                    : errorFrame(header, echoed, static_cast<int>(refusal));
}

} // namespace plcsim
