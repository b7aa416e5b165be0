// main.cpp - fplink: the command line, and how it ends.

#include "program.h"

#include <cstdio>
#include <exception>

namespace
{

using namespace fplink;

/// The exit code, and its line on standard error; 0 when there is no failure.
int fail(const std::optional<Failure> &failure)
{
    if (!failure)
        return static_cast<int>(ExitCode::Good);
    std::fputs(errorLine(*failure).toLocal8Bit().constData(), stderr);
    return static_cast<int>(failure->code);
}

/// Values that nobody could see were not delivered: a full disk, for example.
std::optional<Failure> whyNotPrinted()
{
    if (std::fflush(stdout) == 0 && !std::ferror(stdout))
        return std::nullopt;
    return Failure{ExitCode::Failed, QStringLiteral("standard output cannot be written")};
}

std::optional<Failure> run(int argc, char **argv)
{
    Program program;
    if (std::optional<Failure> failure = program.parse(argc, argv))
        return failure;
    if (std::optional<Failure> failure = program.run())
        return failure;
    return whyNotPrinted();
}

} // namespace

int main(int argc, char **argv)
{
    try {
        return fail(run(argc, argv));
    } catch (const std::exception &error) {
        return fail(Failure{ExitCode::Failed, textOf(error.what())});
    }
}
