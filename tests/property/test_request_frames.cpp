// test_request_frames.cpp - every request that the driver builds says, to a reader of its own, what the variable says.

#include "plain_plc.h"
#include "properties.h"

namespace
{

const char *const kAreaNames[] = {"X", "Y", "R", "L", "T", "C", "X", "Y", "R", "L", "DT", "LD", "FL", "SV", "EV"};

std::string destinationOf(int station)
{
    return {station > 4 ? '1' : '0', "0123456789ABCDEF"[station % 16]};
}

/// The one request that the driver builds for what is queued.
PlainRequest requestBuilt(int frames)
{
    Protocol *head = ComCommunication();
    RC_ASSERT(head != nullptr);
    RC_ASSERT(PLC_driver.lst_Protocol.size() == frames);
    RC_ASSERT(head->frameLen == head->frame.size());
    PlainRequest request;
    RC_ASSERT(parsed(PropertyDriver::text(head->frame), request));
    return request;
}

} // namespace

RC_GTEST_PROP(Frames, AReadNamesStationAreaFirstAndLastWord, ())
{
    PropertyDriver driver;
    const int kind = *between(4, 14), station = *between(1, 15), count = *between(1, 300);
    const int address = *between(0, kind < 10 || kind > 12 ? 9000 : 99000);
    RW_VAR var = PropertyDriver::variable(kind, address, count, station);
    AddListOnceReadVar(&var, 1);
    const PlainRequest request = requestBuilt(1);
    const char *const commands[] = {"RCC", "RCC", "RCC", "RCC", "RCC", "RCC", "RD", "RD", "RD", "RS", "RK"};
    RC_ASSERT(request.command == commands[kind - 4]);
    RC_ASSERT(request.destination == destinationOf(station));
    RC_ASSERT(request.area == kAreaNames[kind]);
    RC_ASSERT(request.first == address);
    RC_ASSERT(request.last == address + count - 1);
    RC_ASSERT(request.checked == (kind >= 13));
    RC_ASSERT(PLC_driver.lst_Protocol.at(0).replyLen == 4 * count + 9);
}

RC_GTEST_PROP(Frames, AWordWriteCarriesItsWordsAndAFittingCheckCode, ())
{
    PropertyDriver driver;
    const int kind = *between(7, 14), station = *between(1, 15);
    const int address = *between(0, kind < 10 || kind > 12 ? 9000 : 99000);
    const std::vector<std::uint16_t> words = *rc::gen::nonEmpty<std::vector<std::uint16_t>>();
    QByteArray data;
    for (const std::uint16_t word : words) {
        data.append(char(word % 256));
        data.append(char(word / 256));
    }
    RW_VAR var = PropertyDriver::variable(kind, address, int(words.size()), station, data);
    AddListWriteVar(&var, 0);
    const PlainRequest request = requestBuilt(1);
    const char *const commands[] = {"WCC", "WCC", "WCC", "WD", "WD", "WD", "WS", "WK"};
    RC_ASSERT(request.command == commands[kind - 7]);
    RC_ASSERT(request.destination == destinationOf(station));
    RC_ASSERT(request.area == kAreaNames[kind]);
    RC_ASSERT(request.first == address);
    RC_ASSERT(request.words == words);
    RC_ASSERT(request.checked);
    RC_ASSERT(PLC_driver.lst_Protocol.at(0).replyLen == 9);
}

RC_GTEST_PROP(Frames, ABitWriteNamesWordAndBitAndState, (bool on))
{
    PropertyDriver driver;
    const int kind = *between(1, 3), station = *between(1, 15), address = *between(0, 15999);
    RW_VAR var = PropertyDriver::variable(kind, address, 1, station, QByteArray(1, on ? '\1' : '\0'));
    AddListWriteVar(&var, 0);
    const PlainRequest request = requestBuilt(1);
    RC_ASSERT(request.command == "WCS");
    RC_ASSERT(request.destination == destinationOf(station));
    RC_ASSERT(request.area == kAreaNames[kind]);
    RC_ASSERT(request.first == address / 16);
    RC_ASSERT(request.last == address % 16);
    RC_ASSERT(request.on == on);
    RC_ASSERT(request.checked);
}

RC_GTEST_PROP(Frames, AGroupIsClearedRegisteredWordByWordAndExecuted, ())
{
    PropertyDriver driver;
    const int station = *between(1, 15);
    std::vector<std::pair<std::string, int>> expected;
    const int entries = *between(2, 14);
    for (int i = 0; i < entries; ++i) {
        const int kind = *between(6, 14), address = *between(0, 9999);
        RW_VAR var = PropertyDriver::variable(kind, address, 1, station);
        AddListReadVar(&var);
        expected.push_back(std::make_pair(std::string(kAreaNames[kind]), address));
    }
    const PlainRequest clear = requestBuilt(3);
    PlainRequest registration, execute;
    RC_ASSERT(parsed(PropertyDriver::text(PLC_driver.lst_Protocol.at(1).frame), registration));
    RC_ASSERT(parsed(PropertyDriver::text(PLC_driver.lst_Protocol.at(2).frame), execute));
    RC_ASSERT(clear.command == "MD");
    RC_ASSERT(clear.registration.empty());
    RC_ASSERT(registration.command == "MD");
    RC_ASSERT(registration.registration == expected);
    RC_ASSERT(execute.command == "MG");
    for (const PlainRequest &request : {clear, registration, execute})
        RC_ASSERT(request.destination == destinationOf(station));
    RC_ASSERT(PLC_driver.lst_Protocol.at(2).replyLen == 4 * entries + 14);
}
