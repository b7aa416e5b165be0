// exit_code.h - how fplink ends, and the one line that says why.
//
//  - Every failure has a code of its own and one line on standard error; docs and --help show this table.

#pragma once

#include <QtCore/QString>

#include <string>

namespace fplink
{

enum class ExitCode {
    Good = 0,
    Failed = 1,      // something that should have happened did not
    Usage = 2,       // bad command line, address or value
    Unreachable = 3, // no connection to the PLC
    Refused = 4,     // the PLC answered with an error response
    TimeOut = 5,     // the PLC did not answer in time
    BadReply = 6,    // it answered, and the answers could not be understood
    Library = 7,     // the driver library could not be loaded
    Simulator = 8    // the embedded or served simulator could not do its work
};

/// Why a command ends early.
struct Failure {
    ExitCode code = ExitCode::Failed;
    QString text; // one line, without the program's name
};

/// The table of exit codes as --help shows it.
std::string exitCodeHelp();

} // namespace fplink
