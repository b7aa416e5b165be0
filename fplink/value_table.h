// value_table.h - values as fplink shows them: aligned text, and JSON.

#pragma once

#include "host/areas.h"

#include <QtCore/QByteArray>
#include <QtCore/QString>

#include <vector>

namespace fplink
{

/// "5", "65535", "-1" (signed), "1" for a bit.
QString decimalText(int kind, int value, bool asSigned);

/// "0xFFFF"; empty for a bit.
QString hexText(int kind, int value);

/// The values of one address.
struct ReadValues {
    fphost::Span span;
    QByteArray bytes; // in the driver's form
};

struct TableStyle {
    bool asSigned = false;
    bool withStation = false;
};

/// One line per element: its name, its value, and the hexadecimal value of a word.
QString valueTable(const std::vector<ReadValues> &all, const TableStyle &style);

/// {"plc":"127.0.0.1:9094","values":[{"address":"DT100","area":"DT","station":1,"value":5}, ...]} and a line end.
QString valueJson(const std::vector<ReadValues> &all, const TableStyle &style, const QString &plc);

} // namespace fplink
