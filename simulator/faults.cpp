// faults.cpp - fault plans as text, and the test that their numbers make sense.

#include "plcsim/faults.h"

#include "fault_state.h"

#include <QtCore/QRegularExpression>
#include <QtCore/QStringList>

#include <stdexcept>
#include <string>

namespace plcsim
{

namespace
{

constexpr int kHighestCode = 255;

enum class Form {
    Bare,   // drop
    Number, // delay 30
    Range,  // jitter 0..20
    Code,   // error 53
    Words   // unreadable DT100..199 61
};

struct FaultRow {
    FaultKind kind;
    const char *name;
    Form form;
    int lowest; // of the numbers
    int highest;
    bool always; // takes no percentage
};

// clang-format off
constexpr int kLongestMs = 3600000;
constexpr FaultRow kFaults[] = {
    // kind                      name                form          lowest     highest     always
    { FaultKind::DropRequest,    "drop-request",     Form::Bare,   0,         0,          false },
    { FaultKind::ErrorResponse,  "error",            Form::Code,   kAnyError, 255,        false },
    { FaultKind::Restart,        "restart",          Form::Number, 0,         kLongestMs, false },
    { FaultKind::Unreadable,     "unreadable",       Form::Words,  0,         99999,      true },
    { FaultKind::FrameLimit,     "frame-limit",      Form::Number, 9,         500000,     true },
    { FaultKind::WrongStation,   "wrong-station",    Form::Bare,   0,         0,          false },
    { FaultKind::WrongCommand,   "wrong-command",    Form::Bare,   0,         0,          false },
    { FaultKind::ShortData,      "short-data",       Form::Number, 1,         1000,       false },
    { FaultKind::LongData,       "long-data",        Form::Number, 1,         1000,       false },
    { FaultKind::BadCheck,       "bad-check",        Form::Bare,   0,         0,          false },
    { FaultKind::LowerCaseCheck, "lower-case-check", Form::Bare,   0,         0,          false },
    { FaultKind::JunkBefore,     "junk-before",      Form::Number, 1,         1000,       false },
    { FaultKind::JunkAfter,      "junk-after",       Form::Number, 1,         1000,       false },
    { FaultKind::DropReply,      "drop",             Form::Bare,   0,         0,          false },
    { FaultKind::Delay,          "delay",            Form::Number, 0,         kLongestMs, false },
    { FaultKind::Jitter,         "jitter",           Form::Range,  0,         kLongestMs, false },
    { FaultKind::Late,           "late",             Form::Number, 0,         kLongestMs, false },
    { FaultKind::Duplicate,      "duplicate",        Form::Bare,   0,         0,          false },
    { FaultKind::Split,          "split",            Form::Bare,   0,         0,          false },
    { FaultKind::Drip,           "drip",             Form::Number, 0,         kLongestMs, false },
    { FaultKind::Glue,           "glue",             Form::Bare,   0,         0,          false },
    { FaultKind::Reset,          "reset",            Form::Bare,   0,         0,          false },
    { FaultKind::HalfOpen,       "half-open",        Form::Bare,   0,         0,          false },
};
// clang-format on

const FaultRow &rowOf(FaultKind kind)
{
    for (const FaultRow &row : kFaults) {
        if (row.kind == kind)
            return row;
    }
    throw std::invalid_argument("there is no such kind of fault");
}

const FaultRow *rowNamed(const QString &name)
{
    for (const FaultRow &row : kFaults) {
        if (name == QLatin1String(row.name))
            return &row;
    }
    return nullptr;
}

/// Thrown while a text is read.
struct BadText {
    QString why;
};

[[noreturn]] void fail(const QString &entry, const QString &why)
{
    throw BadText{QStringLiteral("'%1': %2").arg(entry, why)};
}

QRegularExpressionMatch matched(const char *pattern, const QString &text)
{
    return QRegularExpression(QRegularExpression::anchoredPattern(QLatin1String(pattern))).match(text);
}

/// Digits that fit an int; the ranges are tested with the whole plan.
int numberFrom(const QString &entry, const QString &digits)
{
    bool fits = false;
    const int number = digits.toInt(&fits);
    if (!fits)
        fail(entry, QStringLiteral("the number %1 is too large").arg(digits));
    return number;
}

int chanceFrom(const QString &entry, const QString &text)
{
    const auto match = matched("(\\d{1,3})(?:\\.(\\d{1,2}))?%", text);
    if (!match.hasMatch())
        fail(entry, QStringLiteral("'%1' is no percentage with at most two decimals").arg(text));
    const int chance = match.captured(1).toInt() * 100 + match.captured(2).leftJustified(2, QLatin1Char('0')).toInt();
    if (chance > kEveryTime)
        fail(entry, QStringLiteral("more than 100%"));
    return chance;
}

int codeFrom(const QString &entry, const QString &text)
{
    if (!matched("[0-9A-Fa-f]{2}", text).hasMatch())
        fail(entry, QStringLiteral("'%1' is no error code of two hexadecimal digits").arg(text));
    return text.toInt(nullptr, 16);
}

void readRange(const QString &entry, const QString &text, Fault *fault)
{
    const auto match = matched("(\\d+)\\.\\.(\\d+)", text);
    if (!match.hasMatch())
        fail(entry, QStringLiteral("needs two numbers like 0..20"));
    fault->number = numberFrom(entry, match.captured(1));
    fault->last = numberFrom(entry, match.captured(2));
}

void readWords(const QString &entry, QStringList *parts, Fault *fault)
{
    const auto match = matched("([A-Z]+)(\\d+\\.\\.\\d+)", parts->isEmpty() ? QString() : parts->takeFirst());
    const std::optional<Area> area = areaFromName(match.captured(1));
    if (!match.hasMatch() || !area)
        fail(entry, QStringLiteral("needs words like DT100..199"));
    fault->area = *area;
    readRange(entry, match.captured(2), fault);
    if (!parts->isEmpty())
        fault->errorCode = codeFrom(entry, parts->takeFirst());
}

void readNumbers(const QString &entry, const FaultRow &row, QStringList *parts, Fault *fault)
{
    if (row.form == Form::Bare)
        return;
    if (row.form == Form::Words) {
        readWords(entry, parts, fault);
        return;
    }
    const QString text = parts->isEmpty() ? QString() : parts->takeFirst();
    switch (row.form) {
    case Form::Number:
        if (!matched("\\d+", text).hasMatch())
            fail(entry, QStringLiteral("needs a number"));
        fault->number = numberFrom(entry, text);
        break;
    case Form::Range:
        readRange(entry, text, fault);
        break;
    case Form::Code:
        fault->number = text == QLatin1String("any") ? kAnyError : codeFrom(entry, text);
        break;
    case Form::Bare:
    case Form::Words:
        break;
    }
}

Fault faultFrom(const QString &entry, QStringList parts)
{
    const FaultRow *row = rowNamed(parts.takeFirst());
    if (row == nullptr)
        fail(entry, QStringLiteral("there is no such fault"));
    Fault fault;
    fault.kind = row->kind;
    if (!parts.isEmpty() && parts.first().endsWith(QLatin1Char('%'))) {
        if (row->always)
            fail(entry, QStringLiteral("holds always and takes no percentage"));
        fault.chance = chanceFrom(entry, parts.takeFirst());
    }
    readNumbers(entry, *row, &parts, &fault);
    if (!parts.isEmpty())
        fail(entry, QStringLiteral("'%1' is too much").arg(parts.first()));
    return fault;
}

quint32 seedFrom(const QString &entry, const QStringList &parts)
{
    bool fits = false;
    const quint32 seed = parts.size() == 2 ? parts.at(1).toUInt(&fits) : 0;
    if (!fits)
        fail(entry, QStringLiteral("needs a number from 0 to 4294967295"));
    return seed;
}

FaultPlan planFrom(const QString &text)
{
    FaultPlan plan;
    const QStringList entries = text.split(QRegularExpression(QStringLiteral("[;\\n]")));
    for (const QString &each : entries) {
        const QString entry = each.simplified();
        const QStringList parts = entry.split(QLatin1Char(' '), Qt::SkipEmptyParts);
        if (parts.isEmpty())
            continue;
        if (parts.first() == QLatin1String("seed"))
            plan.seed = seedFrom(entry, parts);
        else
            plan.faults.push_back(faultFrom(entry, parts));
    }
    return plan;
}

QString percentText(int chance)
{
    QString text = QString::number(chance / 100);
    if (chance % 100 != 0)
        text += QStringLiteral(".%1").arg(chance % 100, 2, 10, QLatin1Char('0'));
    return text + QLatin1Char('%');
}

QString codeText(int code)
{
    return QStringLiteral("%1").arg(code, 2, 16, QLatin1Char('0')).toUpper();
}

QString numbersText(const Fault &fault, Form form)
{
    switch (form) {
    case Form::Bare:
        break;
    case Form::Number:
        return QStringLiteral(" %1").arg(fault.number);
    case Form::Range:
        return QStringLiteral(" %1..%2").arg(fault.number).arg(fault.last);
    case Form::Code:
        return QLatin1Char(' ') + (fault.number == kAnyError ? QStringLiteral("any") : codeText(fault.number));
    case Form::Words:
        return QStringLiteral(" %1%2..%3 %4")
            .arg(areaName(fault.area))
            .arg(fault.number)
            .arg(fault.last)
            .arg(codeText(fault.errorCode));
    }
    return QString();
}

void require(bool holds, const FaultRow &row, const std::string &why)
{
    if (!holds)
        throw std::invalid_argument(std::string("fault '") + row.name + "': " + why);
}

void requireGood(const Fault &fault)
{
    const FaultRow &row = rowOf(fault.kind);
    const std::string range = std::to_string(row.lowest) + " to " + std::to_string(row.highest);
    require(fault.chance >= 0 && fault.chance <= kEveryTime, row, "its chance must be 0 to 10000");
    require(!row.always || fault.chance == kEveryTime, row, "it holds always, so its chance must be 10000");
    if (row.form == Form::Bare)
        return;
    require(fault.number >= row.lowest && fault.number <= row.highest, row, "its number must be " + range);
    if (row.form == Form::Range || row.form == Form::Words) {
        require(fault.last <= row.highest, row, "its last number must be " + range);
        require(fault.last >= fault.number, row, "its last number must not be below the first");
    }
    require(fault.errorCode >= 0 && fault.errorCode <= kHighestCode, row, "its error code must be 0 to 255");
}

} // namespace

void requireGood(const FaultPlan &plan)
{
    for (const Fault &fault : plan.faults)
        requireGood(fault);
}

std::optional<FaultPlan> FaultPlan::parse(const QString &text, QString *fault)
{
    QString why;
    try {
        FaultPlan plan = planFrom(text);
        requireGood(plan);
        return plan;
    } catch (const BadText &bad) {
        why = bad.why;
    } catch (const std::invalid_argument &bad) {
        why = QString::fromUtf8(bad.what());
    }
    if (fault != nullptr)
        *fault = why;
    return std::nullopt;
}

QString FaultPlan::describe() const
{
    QStringList entries = {QStringLiteral("seed %1").arg(seed)};
    for (const Fault &fault : faults) {
        const FaultRow &row = rowOf(fault.kind);
        QString entry = QLatin1String(row.name);
        if (fault.chance != kEveryTime)
            entry += QLatin1Char(' ') + percentText(fault.chance);
        entries += entry + numbersText(fault, row.form);
    }
    return entries.join(QStringLiteral("; "));
}

} // namespace plcsim
