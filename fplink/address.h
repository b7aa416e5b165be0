// address.h - PLC addresses, endpoints and station numbers as people write them.
//
//  - Pure functions over text; every refusal is one line that quotes the text and says what would be right.

#pragma once

#include "host/areas.h"

#include <QtCore/QString>

#include <optional>

namespace fplink
{

/// Reads an address: AREA NUMBER [:COUNT] [@STATION], in upper or lower case.
///
///   DT100 LD7 FL12 SV2 EV2 WX3 WY0 WR5 WL1   a word number
///   X0 Y1F R10F L3                           a decimal word number and one hexadecimal bit digit; R10F is bit F of
///   WR10 T5 C7                                    a contact number DT100:8  DT100*8                         eight
///   elements from DT100 on DT100@2  DT100:8@2                       of station 2 instead of \a station
///
/// "LD7" is link data register 7; bit D of link relay word 0 is "L0D".
/// Result: nothing, and the elements in \a span; otherwise why not, and \a span is untouched. The elements lie inside
/// their area; whether they may be written is not looked at.
std::optional<QString> parseAddress(const QString &text, int station, fphost::Span *span);

/// The elements as parseAddress() takes them: "DT100:8", with "@2" when \a withStation.
QString addressOf(const fphost::Span &span, bool withStation);

/// A host and a port.
struct Endpoint {
    QString host;
    quint16 port = 0;
};

/// Reads HOST:PORT: "192.168.1.5:9094", "plc-7:9094", "[::1]:9094". Ports are 1 to 65535.
std::optional<QString> parseEndpoint(const QString &text, Endpoint *endpoint);

/// The endpoint as parseEndpoint() takes it.
QString endpointText(const Endpoint &endpoint);

} // namespace fplink
