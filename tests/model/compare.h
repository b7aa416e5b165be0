// compare.h - what differs between the reference driver and the real one, field by field.
//
//  - Each function answers with an empty text for "the same", or with the field and both values.

#ifndef COMPARE_H
#define COMPARE_H

#include "plain_driver.h"

#include "matsushita_tcpip_net.h"

QString toQt(const plain::Text &text);
QByteArray toBytes(const plain::Bytes &bytes);
plain::Bytes fromBytes(const QByteArray &bytes);
RW_VAR toQt(const plain::Var &var);
EXTENDVAR toQt(const plain::Cell &cell);
HostReadItem toQt(const plain::Item &item);
ComInfo toQt(const plain::Settings &settings);

std::string differenceOf(const plain::Var &model, const RW_VAR &driver);
std::string differenceOf(const std::vector<plain::Var> &model, const QList<RW_VAR> &driver);
std::string differenceOf(const std::vector<plain::Frame> &model, const QList<Protocol> &driver);
std::string differenceOf(const std::vector<plain::Cell> &model, const QList<EXTENDVAR> &driver);
std::string differenceOf(const plain::Bytes &model, const QByteArray &driver);

/// Everything a host can see, but of the two largest areas only what \a withLargeAreas asks for.
std::string differenceOf(const plain::Driver &model, const ComInfo &settings, bool withLargeAreas);

#endif
