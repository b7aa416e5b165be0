// value_table.cpp - see value_table.h.

#include "value_table.h"

#include "address.h"
#include "numbers.h"

#include <QtCore/QJsonArray>
#include <QtCore/QJsonDocument>
#include <QtCore/QJsonObject>

#include <algorithm>

namespace fplink
{

namespace
{

struct Element {
    fphost::Span span; // of one element
    int value;
};

std::vector<Element> elementsOf(const std::vector<ReadValues> &all)
{
    std::vector<Element> elements;
    for (const ReadValues &values : all) {
        for (int i = 0; i < values.span.count; ++i)
            elements.push_back({{values.span.kind, values.span.first + i, 1, values.span.station},
                                valueAt(values.bytes, values.span.kind, i)});
    }
    return elements;
}

int shownNumber(int kind, int value, bool asSigned)
{
    const bool negative = asSigned && !fphost::areaRow(kind)->bits && value > 32767;
    return negative ? value - 65536 : value;
}

} // namespace

QString decimalText(int kind, int value, bool asSigned)
{
    return QString::number(shownNumber(kind, value, asSigned));
}

QString hexText(int kind, int value)
{
    if (fphost::areaRow(kind)->bits)
        return QString();
    return QStringLiteral("0x") + QStringLiteral("%1").arg(value, 4, 16, QLatin1Char('0')).toUpper();
}

QString valueTable(const std::vector<ReadValues> &all, const TableStyle &style)
{
    const std::vector<Element> elements = elementsOf(all);
    int nameWidth = 0;
    int valueWidth = 0;
    for (const Element &element : elements) {
        nameWidth = std::max<int>(nameWidth, addressOf(element.span, style.withStation).size());
        valueWidth = std::max<int>(valueWidth, decimalText(element.span.kind, element.value, style.asSigned).size());
    }
    QString table;
    for (const Element &element : elements) {
        QString line = addressOf(element.span, style.withStation).leftJustified(nameWidth) + QStringLiteral("  ");
        line += decimalText(element.span.kind, element.value, style.asSigned).rightJustified(valueWidth);
        const QString hex = hexText(element.span.kind, element.value);
        table += (hex.isEmpty() ? line : line + QStringLiteral("  ") + hex) + QLatin1Char('\n');
    }
    return table;
}

QString valueJson(const std::vector<ReadValues> &all, const TableStyle &style, const QString &plc)
{
    QJsonArray values;
    for (const Element &element : elementsOf(all)) {
        QJsonObject one;
        one[QStringLiteral("address")] = fphost::elementName(element.span.kind, element.span.first);
        one[QStringLiteral("area")] = QLatin1String(fphost::areaRow(element.span.kind)->name);
        one[QStringLiteral("station")] = element.span.station;
        one[QStringLiteral("value")] = shownNumber(element.span.kind, element.value, style.asSigned);
        values.append(one);
    }
    QJsonObject whole;
    whole[QStringLiteral("plc")] = plc;
    whole[QStringLiteral("values")] = values;
    return QString::fromUtf8(QJsonDocument(whole).toJson(QJsonDocument::Compact)) + QLatin1Char('\n');
}

} // namespace fplink
