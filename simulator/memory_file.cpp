// memory_file.cpp - memory as a JSON file that a person can read and write; README.md shows one.
//
//  - Words that are 0 are not written; a run ends where two or more zeros follow each other.
//  - A file is read whole and tested before anything changes, and written whole before it takes the old one's place.

#include "simulator_p.h"

#include <QtCore/QFile>
#include <QtCore/QJsonArray>
#include <QtCore/QJsonDocument>
#include <QtCore/QJsonObject>
#include <QtCore/QSaveFile>

#include <cmath>
#include <set>
#include <stdexcept>

namespace plcsim
{

namespace
{

constexpr char kFormatName[] = "plc-memory";
constexpr int kFormatVersion = 1;
constexpr qint64 kLargestFile = 64 * 1024 * 1024; // bytes; keeps a wrong file from eating the memory
constexpr int kHighestWord = 65535;
constexpr int kLongestGap = 1; // zeros inside a run that cost less than a new run

/// Thrown while a file is read; says what is wrong and where.
struct BadFile {
    QString why;
};

[[noreturn]] void fail(const QString &why)
{
    throw BadFile{why};
}

/// A whole number of the range, or a failure that names the place.
int wholeNumber(const QJsonValue &value, int lowest, int highest, const QString &what)
{
    const double number = value.isDouble() ? value.toDouble() : std::nan("");
    if (!(number >= lowest && number <= highest) || std::floor(number) != number)
        fail(QStringLiteral("%1 must be a whole number from %2 to %3")
                 .arg(what, QString::number(lowest), QString::number(highest)));
    return static_cast<int>(number);
}

void allowKeys(const QJsonObject &object, const std::set<QString> &allowed, const QString &where)
{
    for (const QString &key : object.keys()) {
        if (allowed.count(key) == 0)
            fail(QStringLiteral("%1 has an unknown entry '%2'").arg(where, key));
    }
}

QJsonObject requireObject(const QJsonValue &value, const QString &what)
{
    if (!value.isObject())
        fail(QStringLiteral("%1 must be an object").arg(what));
    return value.toObject();
}

QJsonArray requireArray(const QJsonValue &value, const QString &what)
{
    if (!value.isArray())
        fail(QStringLiteral("%1 must be a list").arg(what));
    return value.toArray();
}

Area requireArea(const QString &name, const QString &where)
{
    const std::optional<Area> area = areaFromName(name);
    if (!area)
        fail(QStringLiteral("%1: there is no area '%2'").arg(where, name));
    return *area;
}

// Reading -------------------------------------------------------------------------------------------------------------

AreaSizes sizesFrom(const QJsonValue &value, const QString &where)
{
    AreaSizes sizes;
    if (value.isUndefined())
        return sizes;
    const QJsonObject object = requireObject(value, where + QStringLiteral(", 'sizes'"));
    for (auto entry = object.begin(); entry != object.end(); ++entry) {
        const Area area = requireArea(entry.key(), where);
        const QString what = QStringLiteral("%1, size of %2").arg(where, entry.key());
        sizes.set(area, wholeNumber(entry.value(), 0, largestWords(area), what));
    }
    return sizes;
}

void readRun(Station &station, Area area, const QJsonValue &value, const QString &where)
{
    const QJsonObject run = requireObject(value, where + QStringLiteral(", every run"));
    allowKeys(run, {QStringLiteral("first"), QStringLiteral("words")}, where);
    const int size = static_cast<int>(station.words(area).size());
    const int first =
        wholeNumber(run.value(QStringLiteral("first")), 0, largestWords(area) - 1, where + QStringLiteral(", 'first'"));
    const QJsonArray words = requireArray(run.value(QStringLiteral("words")), where + QStringLiteral(", 'words'"));
    if (words.size() > size - first)
        fail(QStringLiteral("%1: a run of %2 words from %3 does not fit an area of %4 words")
                 .arg(where, QString::number(words.size()), QString::number(first), QString::number(size)));
    for (int i = 0; i < words.size(); ++i) {
        const QString what = QStringLiteral("%1, word %2").arg(where, QString::number(first + i));
        station.setWord(area, first + i, static_cast<quint16>(wholeNumber(words.at(i), 0, kHighestWord, what)));
    }
}

void readMemory(Station &station, const QJsonValue &value, const QString &where)
{
    for (Area area : allAreas())
        std::fill(station.words(area).begin(), station.words(area).end(), quint16(0));
    if (value.isUndefined())
        return;
    const QJsonObject memory = requireObject(value, where + QStringLiteral(", 'memory'"));
    for (auto entry = memory.begin(); entry != memory.end(); ++entry) {
        const Area area = requireArea(entry.key(), where);
        const QString place = QStringLiteral("%1, %2").arg(where, entry.key());
        const QJsonArray runs = requireArray(entry.value(), place);
        for (const QJsonValue &run : runs)
            readRun(station, area, run, place);
    }
}

void readStation(const QJsonValue &value, const QString &place, const StationMap &present, StationMap *result)
{
    const QJsonObject object = requireObject(value, place);
    if (!object.value(QStringLiteral("destination")).isString())
        fail(place + QStringLiteral(": 'destination' must be a text of two characters"));
    const QByteArray destination = object.value(QStringLiteral("destination")).toString().toUtf8();
    const QString where = QStringLiteral("station '%1'").arg(QString::fromUtf8(destination));
    allowKeys(
        object,
        {QStringLiteral("destination"), QStringLiteral("number"), QStringLiteral("sizes"), QStringLiteral("memory")},
        where);
    if (result->count(destination) != 0)
        fail(where + QStringLiteral(" is named twice"));

    const auto there = present.find(destination);
    std::unique_ptr<Station> station;
    if (there != present.end()) {
        station = std::make_unique<Station>(*there->second);
    } else {
        const int number =
            wholeNumber(object.value(QStringLiteral("number")), 0, 254, where + QStringLiteral(", 'number'"));
        StationSettings settings;
        settings.words = sizesFrom(object.value(QStringLiteral("sizes")), where);
        requireFreePlace(present, destination, number);
        requireFreePlace(*result, destination, number);
        station = std::make_unique<Station>(destination, number, settings);
    }
    readMemory(*station, object.value(QStringLiteral("memory")), where);
    result->emplace(destination, std::move(station));
}

void readFile(const QByteArray &text, const StationMap &present, StationMap *result)
{
    QJsonParseError fault;
    const QJsonDocument document = QJsonDocument::fromJson(text, &fault);
    if (fault.error != QJsonParseError::NoError)
        fail(QStringLiteral("not JSON at byte %1: %2").arg(fault.offset).arg(fault.errorString()));
    const QJsonObject root =
        requireObject(document.isObject() ? QJsonValue(document.object()) : QJsonValue(), QStringLiteral("the file"));
    if (root.value(QStringLiteral("format")).toString() != QLatin1String(kFormatName))
        fail(QStringLiteral("'format' must be \"%1\"").arg(QLatin1String(kFormatName)));
    wholeNumber(root.value(QStringLiteral("version")), kFormatVersion, kFormatVersion, QStringLiteral("'version'"));
    allowKeys(root, {QStringLiteral("format"), QStringLiteral("version"), QStringLiteral("stations")},
              QStringLiteral("the file"));
    const QJsonArray stations = requireArray(root.value(QStringLiteral("stations")), QStringLiteral("'stations'"));
    for (int i = 0; i < stations.size(); ++i)
        readStation(stations.at(i), QStringLiteral("entry %1 of 'stations'").arg(i + 1), present, result);
}

// Writing -------------------------------------------------------------------------------------------------------------

/// The end of the run that begins at \a first: behind its last word that is not 0.
std::size_t endOfRun(const std::vector<quint16> &words, std::size_t first)
{
    std::size_t end = first + 1;
    for (std::size_t i = end; i < words.size() && i - end <= kLongestGap; ++i) {
        if (words[i] != 0)
            end = i + 1;
    }
    return end;
}

QJsonArray runsOf(const std::vector<quint16> &words)
{
    QJsonArray runs;
    for (std::size_t i = 0; i < words.size(); ++i) {
        if (words[i] == 0)
            continue;
        const std::size_t end = endOfRun(words, i);
        QJsonArray values;
        for (std::size_t k = i; k < end; ++k)
            values.append(words[k]);
        runs.append(QJsonObject{{QStringLiteral("first"), static_cast<int>(i)}, {QStringLiteral("words"), values}});
        i = end;
    }
    return runs;
}

QJsonObject stationObject(const Station &station)
{
    QJsonObject sizes;
    QJsonObject memory;
    for (Area area : allAreas()) {
        sizes.insert(areaName(area), station.settings().words.of(area));
        const QJsonArray runs = runsOf(station.words(area));
        if (!runs.isEmpty())
            memory.insert(areaName(area), runs);
    }
    return {{QStringLiteral("destination"), QString::fromLatin1(station.destination())},
            {QStringLiteral("number"), station.number()},
            {QStringLiteral("sizes"), sizes},
            {QStringLiteral("memory"), memory}};
}

} // namespace

std::optional<QString> stationsFromText(const QByteArray &text, const StationMap &present, StationMap *result)
{
    try {
        readFile(text, present, result);
    } catch (const BadFile &bad) {
        return bad.why;
    } catch (const std::invalid_argument &bad) {
        return QString::fromUtf8(bad.what());
    }
    return std::nullopt;
}

QByteArray textFromStations(const StationMap &stations)
{
    QJsonArray list;
    for (const auto &entry : stations)
        list.append(stationObject(*entry.second));
    const QJsonObject root = {{QStringLiteral("format"), QLatin1String(kFormatName)},
                              {QStringLiteral("version"), kFormatVersion},
                              {QStringLiteral("stations"), list}};
    return QJsonDocument(root).toJson();
}

std::optional<QString> Simulator::load(const QString &fileName)
{
    QFile file(fileName);
    if (!file.open(QIODevice::ReadOnly))
        return QStringLiteral("cannot read %1: %2").arg(fileName, file.errorString());
    if (file.size() > kLargestFile)
        return QStringLiteral("%1 is too large for a memory file").arg(fileName);
    const QByteArray text = file.read(kLargestFile);

    const std::lock_guard<std::mutex> lock(d->mutex);
    StationMap read;
    if (const auto fault = stationsFromText(text, d->stations, &read))
        return QStringLiteral("%1: %2").arg(fileName, *fault);
    for (auto &entry : read)
        d->stations[entry.first] = std::move(entry.second);
    return std::nullopt;
}

std::optional<QString> Simulator::save(const QString &fileName) const
{
    std::unique_lock<std::mutex> lock(d->mutex);
    const QByteArray text = textFromStations(d->stations);
    lock.unlock();
    QSaveFile file(fileName);
    if (!file.open(QIODevice::WriteOnly) || file.write(text) != text.size() || !file.commit())
        return QStringLiteral("cannot write %1: %2").arg(fileName, file.errorString());
    return std::nullopt;
}

} // namespace plcsim
