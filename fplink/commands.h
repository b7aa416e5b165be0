// commands.h - the commands of fplink.
//
//  - Each adds itself to the command line and gives back what runs it; main.cpp has the table.

#pragma once

#include "connection.h"
#include "exit_code.h"

#include <CLI/CLI.hpp>

#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace fplink
{

/// Runs a command whose options have been read. Result: nothing when all was good, or why it ended.
using RunCommand = std::function<std::optional<Failure>()>;

RunCommand addSimCommand(CLI::App &command);
RunCommand addReadCommand(CLI::App &command);
RunCommand addWriteCommand(CLI::App &command);
RunCommand addWatchCommand(CLI::App &command);

/// The options that read, write and watch share.
void addLinkOptions(CLI::App &command, LinkOptions &options);

/// Accepts numbers from \a low to \a high, without spelling that out in the option's help.
template <typename Number> CLI::Validator between(Number low, Number high)
{
    return CLI::Range(low, high).description("");
}

/// How addresses are written, for --help.
extern const char kAddressHelp[];

/// Reads addresses, all of them before anything is done.
std::optional<Failure> parseAddresses(const std::vector<std::string> &texts, int station,
                                      std::vector<fphost::Span> *spans);

QString textOf(const std::string &argument);

/// Writes to standard output: text that is known to be harmless, or one line of any characters, which shown() spells
/// out.
void print(const QString &text);
void printLine(const QString &line);

} // namespace fplink
