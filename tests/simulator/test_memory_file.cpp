// Memory from and to a file.

#include "wire.h"

#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtCore/QFileInfo>
#include <QtCore/QTemporaryDir>

using namespace plcsim;

namespace
{

struct Files {
    QString path(const char *name) const { return folder.filePath(QString::fromLatin1(name)); }
    QString write(const char *name, const QByteArray &text) const
    {
        QFile file(path(name));
        EXPECT_TRUE(file.open(QIODevice::WriteOnly));
        file.write(text);
        return path(name);
    }
    QByteArray read(const char *name) const
    {
        QFile file(path(name));
        EXPECT_TRUE(file.open(QIODevice::ReadOnly));
        return file.readAll();
    }
    QTemporaryDir folder;
};

const char kPlant[] = R"({
    "format": "plc-memory",
    "version": 1,
    "stations": [
        {
            "destination": "01",
            "number": 1,
            "memory": {
                "DT": [ { "first": 100, "words": [5, 10] }, { "first": 32764, "words": [65535] } ],
                "R": [ { "first": 0, "words": [1] } ]
            }
        },
        { "destination": "15", "number": 5, "sizes": { "DT": 50000, "FL": 0 },
          "memory": { "DT": [ { "first": 49999, "words": [7] } ] } }
    ]
})";

/// Loads text that has a fault and checks that nothing has changed; gives the message without the file's path.
std::string faultOf(const QByteArray &text)
{
    const Files files;
    wire::OneStation one;
    one.plc.setWord("01", Area::DT, 100, 4321);
    const QString path = files.write("memory.json", text);
    const std::optional<QString> fault = one.plc.load(path);
    EXPECT_EQ(one.word(Area::DT, 100), 4321);
    EXPECT_EQ(one.plc.stations().size(), 1U);
    if (!fault)
        return "no fault";
    EXPECT_TRUE(fault->startsWith(path + ": "));
    EXPECT_FALSE(fault->contains('\n'));
    return fault->mid(path.size() + 2).toStdString();
}

/// A file with one station "01" whose other entries are given.
std::string faultOfStation(const QByteArray &entries)
{
    return faultOf(R"({"format": "plc-memory", "version": 1, "stations": [{"destination": "01", "number": 1, )" +
                   entries + "}]}");
}

} // namespace

TEST(MemoryFile, GivesStationsTheWordsThatItNames)
{
    const Files files;
    wire::OneStation one;
    one.plc.setWord("01", Area::DT, 99, 1);
    EXPECT_EQ(one.plc.load(files.write("plant.json", kPlant)), std::nullopt);
    EXPECT_EQ(one.ask("%01#RDD0009900102**\r"), "%01$RD000005000A00000062\r");
    EXPECT_EQ(one.word(Area::DT, 32764), 65535);
    EXPECT_TRUE(one.bit(Area::R, 0));
}

TEST(MemoryFile, AddsAStationThatIsNotThereWithTheSizesOfTheFile)
{
    const Files files;
    Simulator plc;
    EXPECT_EQ(plc.load(files.write("plant.json", kPlant)), std::nullopt);
    ASSERT_EQ(plc.stations().size(), 2U);
    EXPECT_EQ(plc.stations()[1].destination, "15");
    EXPECT_EQ(plc.stations()[1].number, 5);
    EXPECT_EQ(plc.word("15", Area::DT, 49999), 7);
    EXPECT_EQ(plc.word("15", Area::DT, 50000), std::nullopt);
    EXPECT_EQ(plc.word("15", Area::FL, 0), std::nullopt);
    EXPECT_EQ(plc.word("15", Area::LD, 8447), 0);
    EXPECT_EQ(plc.answer("%15#RDD0000000000**\r"), "%15$RD000013\r");
}

TEST(MemoryFile, LeavesStationsThatItDoesNotNameAndSettingsAsTheyAre)
{
    const Files files;
    wire::OneStation one;
    StationSettings settings;
    settings.mode = Mode::Prog;
    one.plc.setSettings("01", settings);
    one.plc.addStation("02", 2);
    one.plc.setWord("02", Area::DT, 0, 22);
    EXPECT_EQ(one.plc.load(files.write("plant.json", kPlant)), std::nullopt);
    EXPECT_EQ(one.plc.word("02", Area::DT, 0), 22);
    EXPECT_EQ(one.plc.settings("01")->mode, Mode::Prog);
}

TEST(MemoryFile, WhatIsSavedIsLoadedAgain)
{
    const Files files;
    wire::OneStation one;
    quint16 value = 1;
    for (const Area area : allAreas()) {
        const int last = one.plc.settings("01")->words.of(area) - 1;
        for (const int number : {0, 1, 3, 7, last - 1, last})
            one.plc.setWord("01", area, number, value++);
    }
    one.plc.addStation("1A", 10);
    one.plc.setWord("1A", Area::DT, 5, 0xFFFF);
    EXPECT_EQ(one.plc.save(files.path("saved.json")), std::nullopt);

    Simulator other;
    EXPECT_EQ(other.load(files.path("saved.json")), std::nullopt);
    value = 1;
    for (const Area area : allAreas()) {
        const int last = one.plc.settings("01")->words.of(area) - 1;
        for (const int number : {0, 1, 3, 7, last - 1, last})
            EXPECT_EQ(other.word("01", area, number), value++) << areaName(area).toStdString() << number;
        EXPECT_EQ(other.word("01", area, 2), 0);
        EXPECT_EQ(other.word("01", area, 4), 0);
    }
    EXPECT_EQ(other.word("1A", Area::DT, 5), 0xFFFF);
    EXPECT_EQ(other.save(files.path("again.json")), std::nullopt);
    EXPECT_EQ(files.read("again.json"), files.read("saved.json"));
}

TEST(MemoryFile, IsReadableText)
{
    const Files files;
    Simulator plc;
    StationSettings settings;
    for (const Area area : allAreas())
        settings.words.set(area, area == Area::DT ? 10 : 0);
    plc.addStation("01", 1, settings);
    plc.setWord("01", Area::DT, 2, 5);
    plc.setWord("01", Area::DT, 4, 6); // one zero between
    plc.setWord("01", Area::DT, 7, 8); // two zeros between
    EXPECT_EQ(plc.save(files.path("small.json")), std::nullopt);
    EXPECT_EQ(files.read("small.json").simplified(),
              R"({ "format": "plc-memory", "stations": [ { "destination": "01", "memory": { "DT": [ )"
              R"({ "first": 2, "words": [ 5, 0, 6 ] }, { "first": 7, "words": [ 8 ] } ] }, "number": 1, "sizes": { )"
              R"("C": 0, "DT": 10, "EV": 0, "FL": 0, "L": 0, "LD": 0, "R": 0, "SV": 0, "T": 0, "X": 0, "Y": 0 } } ], )"
              R"("version": 1 })");
}

TEST(MemoryFile, ThatCannotBeReadIsAFault)
{
    const Files files;
    Simulator plc;
    EXPECT_EQ(plc.load(files.path("missing.json")),
              QStringLiteral("cannot read ") + files.path("missing.json") + ": No such file or directory");
    EXPECT_TRUE(plc.load(files.folder.path()).has_value());
}

TEST(MemoryFile, ThatCannotBeWrittenIsAFaultAndTheOldOneStays)
{
    const Files files;
    wire::OneStation one;
    EXPECT_TRUE(one.plc.save(files.path("no/such/folder.json")).has_value());
    EXPECT_FALSE(QFileInfo::exists(files.path("no")));
    QDir(files.folder.path()).mkdir("taken");
    const std::optional<QString> fault = one.plc.save(files.path("taken"));
    ASSERT_TRUE(fault.has_value());
    EXPECT_TRUE(fault->startsWith("cannot write " + files.path("taken") + ": "));
    EXPECT_TRUE(QFileInfo(files.path("taken")).isDir());
}

TEST(MemoryFile, ReplacesAnOlderFileWhole)
{
    const Files files;
    wire::OneStation one;
    files.write("memory.json", QByteArray(100000, 'x'));
    EXPECT_EQ(one.plc.save(files.path("memory.json")), std::nullopt);
    EXPECT_EQ(one.plc.load(files.path("memory.json")), std::nullopt);
    EXPECT_EQ(QDir(files.folder.path()).entryList(QDir::Files), QStringList("memory.json"));
}

TEST(BrokenMemoryFile, ThatIsNoJsonNamesThePlace)
{
    EXPECT_EQ(faultOf(""), "not JSON at byte 0: illegal value");
    EXPECT_EQ(faultOf("{\"format\": "), "not JSON at byte 11: unterminated object");
    EXPECT_EQ(faultOf(QByteArray(kPlant).left(200)).substr(0, 8), "not JSON");
    EXPECT_EQ(faultOf("[]"), "the file must be an object");
}

TEST(BrokenMemoryFile, OfAnotherFormatOrVersionIsRefused)
{
    EXPECT_EQ(faultOf("{}"), "'format' must be \"plc-memory\"");
    EXPECT_EQ(faultOf(R"({"format": "other", "version": 1, "stations": []})"), "'format' must be \"plc-memory\"");
    EXPECT_EQ(faultOf(R"({"format": "plc-memory", "version": 2, "stations": []})"),
              "'version' must be a whole number from 1 to 1");
    EXPECT_EQ(faultOf(R"({"format": "plc-memory", "version": 1})"), "'stations' must be a list");
    EXPECT_EQ(faultOf(R"({"format": "plc-memory", "version": 1, "stations": [], "speed": 1})"),
              "the file has an unknown entry 'speed'");
    EXPECT_EQ(faultOf(R"({"format": "plc-memory", "version": 1, "stations": []})"), "no fault");
}

TEST(BrokenMemoryFile, WithABadStationIsRefused)
{
    const auto ofStations = [](const QByteArray &stations) {
        return faultOf(R"({"format": "plc-memory", "version": 1, "stations": [)" + stations + "]}");
    };
    EXPECT_EQ(ofStations("5"), "entry 1 of 'stations' must be an object");
    EXPECT_EQ(ofStations("{}"), "entry 1 of 'stations': 'destination' must be a text of two characters");
    EXPECT_EQ(ofStations(R"({"destination": "02"})"), "station '02', 'number' must be a whole number from 0 to 254");
    EXPECT_EQ(ofStations(R"({"destination": "02", "number": 255})"),
              "station '02', 'number' must be a whole number from 0 to 254");
    EXPECT_EQ(ofStations(R"({"destination": "02", "number": 1})"), "station '02': number 1 is taken by station '01'");
    EXPECT_EQ(ofStations(R"({"destination": "FF", "number": 7})"),
              "station 'FF' would be everybody: FF and 1F are the broadcast");
    EXPECT_EQ(ofStations(R"({"destination": "2", "number": 7})"),
              "station '2': a destination has two characters, digits or upper-case letters");
    EXPECT_EQ(ofStations(R"({"destination": "01"}, {"destination": "01"})"), "station '01' is named twice");
    EXPECT_EQ(ofStations(R"({"destination": "02", "number": 7}, {"destination": "03", "number": 7})"),
              "station '03': number 7 is taken by station '02'");
    EXPECT_EQ(ofStations(R"({"destination": "02", "number": 7, "sizes": {"DT": 100001}})"),
              "station '02', size of DT must be a whole number from 0 to 100000");
    EXPECT_EQ(ofStations(R"({"destination": "02", "number": 7, "sizes": {"WX": 1}})"),
              "station '02': there is no area 'WX'");
    EXPECT_EQ(ofStations(R"({"destination": "02", "number": 7, "sizes": []})"),
              "station '02', 'sizes' must be an object");
}

TEST(BrokenMemoryFile, ThatLooksLikeAPlaceholderIsQuotedAsItIs)
{
    EXPECT_EQ(faultOf(R"({"format": "plc-memory", "version": 1, "stations": [{"destination": "%3", "number": 255}]})"),
              "station '%3', 'number' must be a whole number from 0 to 254");
}

TEST(BrokenMemoryFile, WithBadMemoryIsRefused)
{
    EXPECT_EQ(faultOfStation(R"("colour": 1)"), "station '01' has an unknown entry 'colour'");
    EXPECT_EQ(faultOfStation(R"("memory": 1)"), "station '01', 'memory' must be an object");
    EXPECT_EQ(faultOfStation(R"("memory": {"DX": []})"), "station '01': there is no area 'DX'");
    EXPECT_EQ(faultOfStation(R"("memory": {"DT": 1})"), "station '01', DT must be a list");
    EXPECT_EQ(faultOfStation(R"("memory": {"DT": [1]})"), "station '01', DT, every run must be an object");
    EXPECT_EQ(faultOfStation(R"("memory": {"DT": [{"words": [1]}]})"),
              "station '01', DT, 'first' must be a whole number from 0 to 99999");
    EXPECT_EQ(faultOfStation(R"("memory": {"DT": [{"first": -1, "words": [1]}]})"),
              "station '01', DT, 'first' must be a whole number from 0 to 99999");
    EXPECT_EQ(faultOfStation(R"("memory": {"DT": [{"first": 1}]})"), "station '01', DT, 'words' must be a list");
    EXPECT_EQ(faultOfStation(R"("memory": {"DT": [{"first": 1, "words": [1], "last": 2}]})"),
              "station '01', DT has an unknown entry 'last'");
    EXPECT_EQ(faultOfStation(R"("memory": {"DT": [{"first": 32764, "words": [1, 2]}]})"),
              "station '01', DT: a run of 2 words from 32764 does not fit an area of 32765 words");
    EXPECT_EQ(faultOfStation(R"("memory": {"DT": [{"first": 99999, "words": []}]})"),
              "station '01', DT: a run of 0 words from 99999 does not fit an area of 32765 words");
}

TEST(BrokenMemoryFile, WithABadWordNamesTheWord)
{
    for (const char *word : {"-1", "65536", "1.5", "\"5\"", "null", "1e300", "true"}) {
        EXPECT_EQ(faultOfStation(QByteArray(R"("memory": {"DT": [{"first": 7, "words": [1, )") + word + "]}]}"),
                  "station '01', DT, word 8 must be a whole number from 0 to 65535")
            << word;
    }
}
