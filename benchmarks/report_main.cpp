// report_main.cpp - runs all benchmarks and prints one table: the figures to reach, then everything measured.
//
//   report [--json] [--check]
//
//   --json     JSON in place of the table
//   --check    exit code 1 if a figure that must be reached is not
//
//  - Standard output is the table's or the JSON's alone; progress goes to standard error.

#include "measurements.h"
#include "figures.h"

#include <QtCore/QCommandLineParser>
#include <QtCore/QCoreApplication>
#include <QtCore/QTextStream>

#include <cstdio>

int main(int argc, char **argv)
{
    QCoreApplication application(argc, argv);
    QCommandLineParser parser;
    parser.addHelpOption();
    const QCommandLineOption json(QStringLiteral("json"), QStringLiteral("Print JSON in place of the table."));
    const QCommandLineOption check(QStringLiteral("check"),
                                   QStringLiteral("Exit code 1 if a figure that must be reached is not."));
    parser.addOptions({json, check});
    parser.process(application);
    try {
        const Measurements measured = Measurements::taken();
        const Report report(measured);
        QTextStream(stdout) << (parser.isSet(json) ? report.json() : report.table());
        return parser.isSet(check) && !report.allReached() ? 1 : 0;
    } catch (const std::exception &e) {
        std::fprintf(stderr, "bench: %s\n", e.what());
        return 2;
    }
}
