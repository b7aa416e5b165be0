// driver_path.h - where fplink finds the driver library when nobody says.
//
//  - Beside the program, in the build tree's driver folder, in the library folder of the same installation; else the
//    bare name, which the system's loader looks for.

#pragma once

#include <QtCore/QString>

namespace fplink
{

/// The first of those places, seen from the running program, that holds the library; the bare name when none does.
QString defaultDriverPath();

} // namespace fplink
