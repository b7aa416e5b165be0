// What a unit's settings do: status, modes, protection, missing commands, sizes.

#include "wire.h"

#include <stdexcept>

using namespace plcsim;
using wire::OneStation;

TEST(Status, TellsModelVersionSizeModeLinkErrorsAndDiagnosis)
{
    StationSettings settings;
    settings.identity = {0x32, 0x14, 0x20, 0x01, 0x02, 0x002D};
    OneStation one(settings);
    EXPECT_EQ(one.ask("%01#RT01\r"), "%01$RT3214200101022D0074\r");
    settings.mode = Mode::Prog;
    one.plc.setSettings("01", settings);
    EXPECT_EQ(one.ask("%01#RT01\r"), "%01$RT3214200001022D0075\r");
}

TEST(Status, IsTwentyFiveCharactersLongAndTakesNoParameter)
{
    OneStation one;
    EXPECT_EQ(one.ask("%01#RT**\r").size(), 25U);
    EXPECT_EQ(one.ask("%01#RT0**\r"), "%01!6003\r");
}

TEST(Settings, ForbiddenCommandIsAModeErrorInItsModeOnly)
{
    StationSettings settings;
    settings.forbiddenInRun = {"WD"};
    settings.forbiddenInProg = {"MG", "WCS"};
    OneStation one(settings);
    EXPECT_EQ(one.ask("%01#WDD00000000000100**\r"), "%01!6300\r");
    EXPECT_EQ(one.word(Area::DT, 0), 0);
    EXPECT_EQ(one.ask("%01#WCSR00001**\r"), "%01$WC14\r");
    settings.mode = Mode::Prog;
    one.plc.setSettings("01", settings);
    EXPECT_EQ(one.ask("%01#WDD00000000000100**\r"), "%01$WD13\r");
    EXPECT_EQ(one.ask("%01#WCSR00000**\r"), "%01!6300\r");
    EXPECT_EQ(one.ask("%01#WCP1R00000**\r"), "%01$WC14\r");
}

TEST(Settings, BusyUnitRefusesEveryCommand)
{
    StationSettings settings;
    settings.busy = true;
    OneStation one(settings);
    EXPECT_EQ(one.ask("%01#RDD0000000000**\r"), "%01!5303\r");
    EXPECT_EQ(one.ask("%01#WDD00000000000100**\r"), "%01!5303\r");
    EXPECT_EQ(one.ask("%01#RT**\r"), "%01!5303\r");
    EXPECT_EQ(one.word(Area::DT, 0), 0);
}

TEST(Settings, MissingCommandIsNotSupported)
{
    StationSettings settings;
    settings.missingCommands = {"RT", "MD"};
    OneStation one(settings);
    EXPECT_EQ(one.ask("%01#RT**\r"), "%01!4203\r");
    EXPECT_EQ(one.ask("%01#MDD00000**\r"), "%01!4203\r");
    EXPECT_EQ(one.ask("%01#RDD0000000000**\r"), "%01$RD000016\r");
}

TEST(Settings, WriteThatTouchesAProtectedWordChangesNothing)
{
    StationSettings settings;
    settings.writeProtected = {{Area::DT, 100, 199}, {Area::R, 5, 5}};
    OneStation one(settings);
    EXPECT_EQ(one.ask("%01#WDD0009900099FFFF**\r"), "%01$WD13\r");
    EXPECT_EQ(one.ask("%01#WDD0009900100EEEEEEEE**\r"), "%01!6506\r");
    EXPECT_EQ(one.word(Area::DT, 99), 0xFFFF);
    EXPECT_EQ(one.ask("%01#WDD0019900200EEEEEEEE**\r"), "%01!6506\r");
    EXPECT_EQ(one.ask("%01#WDD0020000200EEEE**\r"), "%01$WD13\r");
    EXPECT_EQ(one.ask("%01#WDF0010000100EEEE**\r"), "%01$WD13\r");
    EXPECT_EQ(one.ask("%01#WCSR00500**\r"), "%01!6506\r");
    EXPECT_EQ(one.ask("%01#WCP2R00401R005F1**\r"), "%01!6506\r");
    EXPECT_EQ(one.ask("%01#WCCR00040006111122223333**\r"), "%01!6506\r");
    EXPECT_EQ(one.word(Area::R, 4), 0);
    EXPECT_EQ(one.ask("%01#WCSR00401**\r"), "%01$WC14\r");
    EXPECT_EQ(one.ask("%01#RDD0010000100**\r"), "%01$RD000016\r");
}

TEST(Settings, EveryAreaCanBeAsLargeAsItsDigitsAllow)
{
    const std::pair<Area, int> largest[] = {{Area::X, 10000},   {Area::Y, 10000},   {Area::R, 10000},
                                            {Area::L, 10000},   {Area::T, 10000},   {Area::C, 10000},
                                            {Area::DT, 100000}, {Area::LD, 100000}, {Area::FL, 100000},
                                            {Area::SV, 10000},  {Area::EV, 10000}};
    AreaSizes sizes;
    for (const auto &area : largest) {
        EXPECT_EQ(largestWords(area.first), area.second);
        EXPECT_EQ(sizes.set(area.first, area.second).of(area.first), area.second);
        EXPECT_EQ(sizes.set(area.first, 0).of(area.first), 0);
        EXPECT_THROW(sizes.set(area.first, area.second + 1), std::invalid_argument);
        EXPECT_THROW(sizes.set(area.first, -1), std::invalid_argument);
    }
}

TEST(Settings, AreaThatTheUnitDoesNotHaveCannotBeRead)
{
    StationSettings settings;
    settings.words.set(Area::FL, 0);
    OneStation one(settings);
    EXPECT_EQ(one.ask("%01#RDF0000000000**\r"), "%01!6102\r");
    EXPECT_EQ(one.ask("%01#WDF00000000000100**\r"), "%01!4504\r");
}

TEST(Settings, AreasHaveTheNamesOfTheField)
{
    const std::pair<Area, const char *> names[] = {
        {Area::X, "X"},   {Area::Y, "Y"},   {Area::R, "R"},   {Area::L, "L"},   {Area::T, "T"},  {Area::C, "C"},
        {Area::DT, "DT"}, {Area::LD, "LD"}, {Area::FL, "FL"}, {Area::SV, "SV"}, {Area::EV, "EV"}};
    for (const auto &area : names) {
        EXPECT_EQ(areaName(area.first), area.second);
        EXPECT_EQ(areaFromName(area.second), area.first);
    }
    EXPECT_EQ(areaFromName("dt"), std::nullopt);
    EXPECT_EQ(areaFromName(""), std::nullopt);
    EXPECT_EQ(areaFromName("WX"), std::nullopt);
}

TEST(Settings, BadSettingsAreRefusedAndChangeNothing)
{
    OneStation one;
    const auto refused = [&one](const StationSettings &settings) {
        EXPECT_THROW(one.plc.setSettings("01", settings), std::invalid_argument);
        Simulator other;
        EXPECT_THROW(other.addStation("01", 1, settings), std::invalid_argument);
        EXPECT_FALSE(other.hasStation("01"));
    };
    StationSettings settings;
    settings.frameLimit = 8;
    refused(settings);
    settings.frameLimit = 500001;
    refused(settings);
    settings = {};
    settings.extendedFrameLimit = 8;
    refused(settings);
    settings = {};
    settings.scanTimeMs = 0;
    refused(settings);
    settings = {};
    settings.missingCommands = {"RX"};
    refused(settings);
    settings = {};
    settings.forbiddenInRun = {"WD "};
    refused(settings);
    settings = {};
    settings.forbiddenInProg = {""};
    refused(settings);
    settings = {};
    settings.writeProtected = {{Area::DT, 5, 4}};
    refused(settings);
    settings = {};
    settings.writeProtected = {{Area::DT, -1, 4}};
    refused(settings);
    EXPECT_EQ(one.ask("%01#RDD0000000026**\r").size(), 117U);
}

TEST(Settings, LimitsThemselvesAreAllowed)
{
    StationSettings settings;
    settings.frameLimit = 9;
    settings.extendedFrameLimit = 500000;
    OneStation one(settings);
    EXPECT_EQ(one.ask("%01#RT**\r"), "%01!2700\r");
    EXPECT_EQ(one.ask("<01#RT**\r").size(), 25U);
    EXPECT_EQ(one.plc.longestFrame(), 500000);
}

TEST(Settings, NewSizesKeepTheWordsThatStillExistAndForgetTheRegistration)
{
    OneStation one;
    one.plc.setWord("01", Area::DT, 9, 9);
    one.plc.setWord("01", Area::DT, 10, 10);
    EXPECT_EQ(one.ask("%01#MDD00010**\r"), "%01$MD09\r");
    StationSettings settings;
    settings.words.set(Area::DT, 10);
    EXPECT_TRUE(one.plc.setSettings("01", settings));
    EXPECT_EQ(one.ask("%01#MG**\r"), "%01!6201\r");
    EXPECT_EQ(one.plc.word("01", Area::DT, 9), 9);
    EXPECT_EQ(one.plc.word("01", Area::DT, 10), std::nullopt);
    settings.words.set(Area::DT, 20);
    EXPECT_TRUE(one.plc.setSettings("01", settings));
    EXPECT_EQ(one.plc.word("01", Area::DT, 10), 0);
    EXPECT_EQ(one.plc.settings("01")->words.of(Area::DT), 20);
}

TEST(Settings, OtherSettingsLeaveTheRegistrationStanding)
{
    OneStation one;
    EXPECT_EQ(one.ask("%01#MDD00010**\r"), "%01$MD09\r");
    StationSettings settings;
    settings.mode = Mode::Prog;
    EXPECT_TRUE(one.plc.setSettings("01", settings));
    EXPECT_EQ(one.ask("%01#MG**\r"), "%01$MG1000400003F\r");
}

TEST(Settings, OfAStationThatIsNotThereAreNothing)
{
    Simulator plc;
    EXPECT_EQ(plc.settings("01").has_value(), false);
    EXPECT_FALSE(plc.setSettings("01", {}));
}
