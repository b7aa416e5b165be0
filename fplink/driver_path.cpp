// driver_path.cpp - see driver_path.h.

#include "driver_path.h"

#include <QtCore/QDir>
#include <QtCore/QFileInfo>

namespace fplink
{

QString defaultDriverPath()
{
    const QString name = QStringLiteral(FPLINK_DRIVER_NAME);
    const QDir beside = QFileInfo(QFileInfo(QStringLiteral("/proc/self/exe")).symLinkTarget()).dir();
    for (const char *place : {".", "../driver", "../" FPLINK_LIBRARY_FOLDER, "../lib"}) {
        const QFileInfo file(QDir(beside.filePath(QString::fromLatin1(place))), name);
        if (file.isFile())
            return file.absoluteFilePath();
    }
    return name;
}

} // namespace fplink
