// platform.h - where Qt 4.8, 5 and 6 differ, and what the library exports.
//
//  - The differences between the Qt versions are met here and nowhere else.
//  - Nothing in this file allocates, locks or keeps state.

#ifndef MATSUSHITA_TCPIP_NET_PLATFORM_H
#define MATSUSHITA_TCPIP_NET_PLATFORM_H

#include <QtCore/QByteArray>
#include <QtCore/QString>
#include <QtCore/qglobal.h>

/// Marks what the shared library exports. The library is built with hidden visibility.
#ifdef MATSUSHITA_TCPIP_NET_BUILD
#define MATSUSHITA_EXPORT Q_DECL_EXPORT
#else
#define MATSUSHITA_EXPORT Q_DECL_IMPORT
#endif

/// Number of bytes of \a bytes. QByteArray::size() is int up to Qt 5 and 64-bit in Qt 6; what crosses this interface
/// (frames, replies, values) is counted in 32 bits, so it is narrowed here, once.
inline int sizeOf(const QByteArray &bytes)
{
    return int(bytes.size());
}

/// Number of characters of \a text, narrowed as above.
inline int sizeOf(const QString &text)
{
    return int(text.size());
}

/// Number of entries of a Qt list, narrowed as above.
template <typename List> inline int countOf(const List &list)
{
    return int(list.size());
}

#endif
