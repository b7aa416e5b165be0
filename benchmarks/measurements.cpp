// measurements.cpp - see measurements.h.

#include "measurements.h"

#include <QtCore/QFile>
#include <QtCore/QJsonArray>
#include <QtCore/QJsonDocument>
#include <QtCore/QJsonObject>
#include <QtCore/QProcess>
#include <QtCore/QTemporaryDir>

#include <algorithm>
#include <cstdio>
#include <limits>
#include <stdexcept>

namespace
{

const int kLongestRunMs = 10 * 60 * 1000;

const double kNotMeasured = std::numeric_limits<double>::quiet_NaN();

[[noreturn]] void fail(const QString &what)
{
    throw std::runtime_error(what.toStdString());
}

/// Runs a program to its end. \return its standard output
QByteArray output(const QString &program, const QStringList &arguments)
{
    std::fprintf(stderr, "%s %s\n", qPrintable(program), qPrintable(arguments.join(' ')));
    QProcess process;
    process.setProcessChannelMode(QProcess::SeparateChannels);
    process.start(program, arguments);
    if (!process.waitForStarted())
        fail(program + " does not start: " + process.errorString());
    process.closeWriteChannel();
    if (!process.waitForFinished(kLongestRunMs) || process.exitStatus() != QProcess::NormalExit ||
        process.exitCode() != 0)
        fail(program + " failed:\n" + QString::fromLocal8Bit(process.readAllStandardError()));
    return process.readAllStandardOutput();
}

/// The non-empty lines of a text, cut at their tabs. Throws if one has not \a columns parts.
QList<QStringList> rows(const QByteArray &text, int columns)
{
    QList<QStringList> all;
    for (const QString &line : QString::fromUtf8(text).split('\n')) {
        if (line.isEmpty())
            continue;
        all.append(line.split('\t'));
        if (all.last().size() != columns)
            fail("not as expected: " + line);
    }
    return all;
}

/// What one run of a scenario takes. Counted in a process of its own: what the allocator does depends on the memory
/// that was used and freed before.
double instructions(const QString &scenario)
{
    const QTemporaryDir folder;
    const QString path = folder.filePath(QStringLiteral("dump"));
    const QList<QStringList> printed =
        rows(output(QStringLiteral("valgrind"), {"-q", "--tool=callgrind", "--instr-atstart=no",
                                                 "--callgrind-out-file=" + path, FP_BENCH_COUNTS, scenario}),
             3);
    QFile file(path + ".1"); // the first dump is the scenario's, the last one that of the program's end
    if (printed.size() != 1 || !file.open(QIODevice::ReadOnly))
        fail("no count of " + scenario);
    while (!file.atEnd()) {
        const QString line = QString::fromUtf8(file.readLine()).trimmed();
        const QString totals = QStringLiteral("totals: ");
        if (line.startsWith(totals))
            return line.mid(totals.size()).toDouble() / printed[0][1].toDouble();
    }
    fail("no total in the count of " + scenario);
}

} // namespace

Measurements Measurements::taken()
{
    Measurements all;
    all.countAllocations();
    all.countInstructions();
    // Fetching, storing and copying are compared with each other: they get more rounds.
    const QString copying = QStringLiteral("(Get|Set)RegisterData/|memcpy/");
    all.takeTimes("-" + copying, 5);
    all.takeTimes(copying, 15);
    all.takeTcp();
    return all;
}

Cost Measurements::cost(const QString &scenario) const
{
    if (!m_costs.contains(scenario))
        fail("not measured: " + scenario);
    return m_costs.value(scenario);
}

QVector<TcpRound> Measurements::tcp(const QString &client) const
{
    if (!m_tcp.contains(client))
        fail("not measured: " + client);
    return m_tcp.value(client);
}

void Measurements::countAllocations()
{
    for (const QStringList &row : rows(output(QStringLiteral(FP_BENCH_ALLOCATIONS), {}), 3)) {
        m_scenarios.append(row[0]);
        m_costs[row[0]] = {kNotMeasured, row[2].toDouble() / row[1].toDouble(), kNotMeasured};
    }
}

void Measurements::countInstructions()
{
    for (const QString &scenario : std::as_const(m_scenarios))
        m_costs[scenario].instructions = instructions(scenario);
}

void Measurements::takeTimes(const QString &filter, int repetitions)
{
    const QTemporaryDir folder;
    const QString path = folder.filePath(QStringLiteral("times.json"));
    output(QStringLiteral(FP_BENCH_TIMES),
           {"--benchmark_filter=" + filter, "--benchmark_min_time=0.02",
            "--benchmark_repetitions=" + QString::number(repetitions), "--benchmark_enable_random_interleaving=true",
            "--benchmark_report_aggregates_only=true", "--benchmark_out_format=json", "--benchmark_out=" + path});
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        fail("cannot read " + path);
    for (const QJsonValue &value : QJsonDocument::fromJson(file.readAll())["benchmarks"].toArray()) {
        const QJsonObject one = value.toObject();
        if (one["error_occurred"].toBool())
            fail(one["run_name"].toString() + ": " + one["error_message"].toString());
        if (one["aggregate_name"].toString() == "median")
            m_costs[one["run_name"].toString()].nanoseconds = one["cpu_time"].toDouble();
    }
}

void Measurements::takeTcp()
{
    for (const QStringList &row : rows(output(QStringLiteral(FP_BENCH_TCP), {}), 5)) {
        if (row[0] == "round")
            m_tcp[row[1]].append({row[2].toDouble(), row[3].toDouble(), row[4].toDouble()});
        else
            m_sweeps[row[1]] = {row[2].toDouble(), row[3].toDouble()};
    }
}

double median(QVector<double> values)
{
    std::sort(values.begin(), values.end());
    const int middle = values.size() / 2;
    return values.size() % 2 ? values[middle] : (values[middle - 1] + values[middle]) / 2;
}
