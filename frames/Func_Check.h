// Func_Check.h - check codes, digit conversions and the reply check.
//
//  - Everything here is stateless except CheckGetData, which looks at the request being answered.
//  - A reply is checked (header, terminator, check code, response mark) before any word is decoded.
//  - What the data means is store/'s business.

#ifndef FUNC_CHECK_H
#define FUNC_CHECK_H

#include "matsushita_tcpip_net.h"

/// XOR of \a length bytes. The first byte is read even when length is 0.
/// Example: the 13 bytes "%01#WCSR00101" give 0x22.
unsigned short CalXOR(unsigned char *data, unsigned short length);

/// Sum of \a length bytes, low 16 bits; 0 for no bytes. Example: 300 bytes of 0xFF give 0x2AD4.
unsigned short CalSUM(unsigned char *data, unsigned short length);

/// CRC-16/MODBUS: polynomial 0xA001 reflected, start 0xFFFF, no final XOR. Example: "123456789" gives 0x4B37.
unsigned short CalCRC(unsigned char *data, unsigned short length);

/// Longitudinal redundancy check, 1 to 256: (NOT sum AND 0xFF) + 1, the addition behind the mask, so that a sum of 0
/// gives 256. Example: the byte 0x01 gives 255.
unsigned short CalLRC(unsigned char *data, unsigned short length);

/// The upper-case hexadecimal digit of 0 to 15. Not limited to that range: 16 gives 'G', -1 gives '/'.
int DigitalToASCII(int digit);

/// The value of a hexadecimal digit: '0' to '?' give 0 to 15, '@' and anything below '0' give 0, and anything else its
/// code less 0x37, so 'A' gives 10 and 'a' 42.
int ASCIIToDigital(int ch);

/// Checks a reply: header, CR, upper-case check code, and the response mark as the head request's varFlag asks.
/// \param length  bytes received. Fewer than 4, or more than \a reply holds, is a bad reply; nothing past the
///                bytes that are there is read.
/// \return 0 reject, 1 good and to be stored (varFlag 0), 2 good with nothing to store (varFlag 1; an error response
///         counts too)
/// lst_Protocol must not be empty. Takes no lock.
int CheckGetData(QByteArray *reply, int length);

#endif
