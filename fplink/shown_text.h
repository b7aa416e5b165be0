// shown_text.h - text from outside as fplink shows it: arguments, file names, what files and programs say.
//
//  - Pure functions over text. What they give is one line and does nothing to a terminal.

#pragma once

#include <QtCore/QString>

namespace fplink
{

/// The text with everything spelled out that does not show as itself: "\n", "\r", "\t"; other control characters as
/// "\x1B"; line separators, marks that turn the direction of writing, unassigned and private characters, and the
/// U+FFFD that stands for bytes that were no text, as "\u202E" or "\U0010FFFF". A backslash stays as it is, so text
/// that was shown once is not changed again.
QString shown(const QString &text);

/// The same of a text that a message quotes: of a long one the beginning, and "...".
QString quoted(const QString &text);

} // namespace fplink
