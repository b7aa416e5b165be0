// figures.cpp - see figures.h.
//
//  - Instruction counts and allocations repeat from run to run; times and rates are compared only within one run.

#include "figures.h"

#include <QtCore/QJsonArray>
#include <QtCore/QJsonDocument>
#include <QtCore/QJsonObject>
#include <QtCore/QLocale>

#include <algorithm>
#include <cmath>
#include <functional>

namespace
{

const char kReadOne[] = "driver/one station/RD 16 words";
const char kMonitorOne[] = "driver/one station/monitor 14 words";
const char kRaw[] = "raw socket loop";
const char kHost[] = "host + driver";
const char kQtClient[] = "QModbusTcpClient";

/// 2766.7 as "2,767", 1.195 as "1.195": three digits behind the point below ten, one below a hundred.
QString number(double value)
{
    if (std::isnan(value))
        return QStringLiteral("-");
    const int decimals = value == std::floor(value) || value >= 100 ? 0 : value >= 10 ? 1 : 3;
    return QLocale(QLocale::English).toString(value, 'f', decimals);
}

QString times(double value)
{
    return QLocale(QLocale::English).toString(value, 'f', 2) + " x";
}

Row atMost(const char *what, double value, double must, double aim, QString (*shown)(double) = number)
{
    return {QString::fromLatin1(what), shown(value), value, Row::AtMost, must, aim};
}

Row atLeast(const char *what, double value, double must, double aim)
{
    return {QString::fromLatin1(what), times(value), value, Row::AtLeast, must, aim};
}

/// How the costs in instructions grow from one size of a family to the next.
double growth(const Measurements &measured, const QString &family, int from, int to)
{
    return measured.cost(family + QString::number(to)).instructions /
           measured.cost(family + QString::number(from)).instructions;
}

/// The worst of all steps from n to 10 n items, in both modes.
double rebuildGrowth(const Measurements &measured)
{
    double worst = 0;
    for (const char *mode : {"rebuild/one station/", "rebuild/stations/"})
        for (const int items : {100, 1000, 10000})
            worst = std::max(worst, growth(measured, QString::fromLatin1(mode), items, 10 * items));
    return worst;
}

/// The median over all rounds of what \a part of one client is against another's in the same round.
double ratio(const Measurements &measured, const QString &client, const QString &base, double TcpRound::*part)
{
    const QVector<TcpRound> ours = measured.tcp(client);
    const QVector<TcpRound> theirs = measured.tcp(base);
    QVector<double> ratios;
    for (int i = 0; i < std::min(ours.size(), theirs.size()); ++i)
        ratios.append(ours[i].*part / (theirs[i].*part));
    return median(ratios);
}

double middle(const QVector<TcpRound> &rounds, double TcpRound::*part)
{
    QVector<double> values;
    for (const TcpRound &round : rounds)
        values.append(round.*part);
    return median(values);
}

Group figuresToReach(const Measurements &m)
{
    const double fetch = m.cost("GetRegisterData/10000").nanoseconds / m.cost("memcpy/10000").nanoseconds;
    return {"Figures to reach",
            {atMost("polled RD of 16 words in memory, instructions", m.cost(kReadOne).instructions, 2458, 1600),
             atMost("the same, heap allocations", m.cost(kReadOne).allocations, 5, 3),
             atMost("monitor read of 14 words, instructions", m.cost(kMonitorOne).instructions, 12000, 7000),
             atMost("word store and fetch, 100,000 cells against 100, instructions",
                    growth(m, "cells/word/", 100, 100000), 1.1, 1.0, times),
             atMost("ReCreatReadVarList, 10 times the items, instructions", rebuildGrowth(m), 16, 12, times),
             atMost("GetRegisterData of 10,000 words against memcpy, time", fetch, 3, 1.2, times),
             atLeast("host + driver over TCP against the raw loop, rate", ratio(m, kHost, kRaw, &TcpRound::perSecond),
                     0.88, 0.95),
             atLeast("host + driver against QModbusTcpClient, rate", ratio(m, kHost, kQtClient, &TcpRound::perSecond),
                     1.6, 2)}};
}

QString shown(const Cost &cost)
{
    QStringList parts;
    if (!std::isnan(cost.instructions))
        parts.append(number(cost.instructions) + " instr");
    parts.append(number(cost.allocations) + " alloc");
    if (!std::isnan(cost.nanoseconds))
        parts.append(number(cost.nanoseconds) + " ns");
    return parts.join(QStringLiteral(", "));
}

/// All scenarios whose names begin so.
Group scenarios(const Measurements &m, const char *title, std::initializer_list<const char *> beginnings)
{
    Group group{QString::fromLatin1(title), {}};
    for (const char *beginning : beginnings)
        for (const QString &name : m.scenarios())
            if (name.startsWith(QLatin1String(beginning)))
                group.rows.append({name, shown(m.cost(name)), 0, Row::None, 0, 0});
    return group;
}

Group overTcp(const Measurements &m)
{
    Group group{
        "Over TCP loopback, client and server on one core (against the raw loop: rate, client's processor time)", {}};
    for (const QString &client : m.tcpClients()) {
        if (client.startsWith(QLatin1String("sweep")))
            continue;
        const QString text = number(middle(m.tcp(client), &TcpRound::perSecond)) + "/s, " +
                             number(middle(m.tcp(client), &TcpRound::cpuMicros)) + " us CPU (" +
                             times(ratio(m, client, kRaw, &TcpRound::perSecond)) + ", " +
                             times(ratio(m, client, kRaw, &TcpRound::cpuMicros)) + ")";
        group.rows.append({client, text, 0, Row::None, 0, 0});
    }
    return group;
}

Group sweeps(const Measurements &m)
{
    Group group{"A sweep of 1,000 single words spread over 10,000, over TCP loopback", {}};
    for (const QString &client : m.tcpClients()) {
        if (!client.startsWith(QLatin1String("sweep")))
            continue;
        const SweepSize size = m.sweep(client);
        const QString text = number(size.frames) + " frames, " + number(size.bytes) + " bytes, " +
                             number(1e3 / middle(m.tcp(client), &TcpRound::perSecond)) + " ms";
        group.rows.append({client, text, 0, Row::None, 0, 0});
    }
    return group;
}

QString padded(const QString &text, int width)
{
    return text.leftJustified(width);
}

} // namespace

QString Row::reached() const
{
    // What is shown is what counts: a ratio of 1.0004 is 1.00.
    const double rounded = limits == None || value >= 100 ? value : std::round(value * 100) / 100;
    const auto within = [&](double limit) { return limits == AtMost ? rounded <= limit : rounded >= limit; };
    if (limits == None)
        return {};
    return within(aim) ? "aim" : within(must) ? "must" : "NOT REACHED";
}

Report::Report(const Measurements &measured) : m_measured(measured)
{
    m_groups = {figuresToReach(measured),
                scenarios(measured, "One exchange in memory", {"driver/"}),
                scenarios(measured, "Floors, peers and the host beside it", {"floor/", "peer/", "host/"}),
                overTcp(measured),
                sweeps(measured),
                scenarios(measured, "Growth",
                          {"sweep of", "polling list/", "cells/", "rebuild/", "GetRegisterData/", "SetRegisterData/",
                           "memcpy/", "write list/"})};
}

bool Report::allReached() const
{
    return std::none_of(m_groups.first().rows.begin(), m_groups.first().rows.end(),
                        [](const Row &row) { return row.reached() == "NOT REACHED"; });
}

QString Report::table() const
{
    int what = 0;
    int value = 0;
    for (const Group &group : m_groups)
        for (const Row &row : group.rows) {
            what = std::max(what, row.what.size());
            value = std::max(value, row.measured.size());
        }
    const auto line = [&](const QString &a, const QString &b, const QString &c, const QString &d, const QString &e) {
        QString text = padded(a, what) + "  " + padded(b, value) + "  " + padded(c, 7) + "  " + padded(d, 7) + "  " + e;
        while (text.endsWith(' '))
            text.chop(1);
        return text + "\n";
    };
    QString table = line("", "measured", "must", "aim", "reached");
    for (const Group &group : m_groups) {
        table += "\n" + group.title + "\n";
        for (const Row &row : group.rows) {
            const bool limited = row.limits != Row::None;
            table += line(row.what, row.measured, limited ? number(row.must) : "", limited ? number(row.aim) : "",
                          row.reached());
        }
    }
    return table;
}

QString Report::json() const
{
    const auto finite = [](double value) { return std::isnan(value) ? QJsonValue() : QJsonValue(value); };
    QJsonArray figures;
    for (const Row &row : m_groups.first().rows)
        figures.append(QJsonObject{{"name", row.what},
                                   {"value", finite(row.value)},
                                   {"limits", row.limits == Row::AtMost ? "at most" : "at least"},
                                   {"must", row.must},
                                   {"aim", row.aim},
                                   {"reached", row.reached()}});
    QJsonArray costs;
    for (const QString &name : m_measured.scenarios()) {
        const Cost cost = m_measured.cost(name);
        costs.append(QJsonObject{{"name", name},
                                 {"instructions", finite(cost.instructions)},
                                 {"allocations", finite(cost.allocations)},
                                 {"nanoseconds", finite(cost.nanoseconds)}});
    }
    QJsonArray tcp;
    for (const QString &client : m_measured.tcpClients()) {
        const QVector<TcpRound> rounds = m_measured.tcp(client);
        QJsonObject one{{"name", client},
                        {"per_second", middle(rounds, &TcpRound::perSecond)},
                        {"cpu_microseconds", middle(rounds, &TcpRound::cpuMicros)}};
        if (client.startsWith(QLatin1String("sweep"))) {
            one["frames"] = m_measured.sweep(client).frames;
            one["bytes"] = m_measured.sweep(client).bytes;
        } else {
            one["rate_against_raw"] = ratio(m_measured, client, kRaw, &TcpRound::perSecond);
            one["cpu_against_raw"] = ratio(m_measured, client, kRaw, &TcpRound::cpuMicros);
        }
        tcp.append(one);
    }
    const QJsonObject all{{"figures", figures}, {"in_memory", costs}, {"over_tcp", tcp}};
    return QString::fromUtf8(QJsonDocument(all).toJson());
}
