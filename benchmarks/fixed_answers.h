// fixed_answers.h - the smallest PLC that can be measured against: each request text has one answer.
//
//  - Knows the read commands RD, RCC, RS, RK, the monitor commands MD and MG, and accepts every write.
//  - Each answer is made once and looked up from then on, so that the answering costs next to nothing.
//  - The word at a number is always the same, so that what arrived can be checked; writes do not change it.

#ifndef BENCHMARKS_FIXED_ANSWERS_H
#define BENCHMARKS_FIXED_ANSWERS_H

#include <cstdint>
#include <string>
#include <unordered_map>

class FixedAnswers
{
public:
    /// The word that is read at \a number, whatever the area. Example: 100 gives 0x0C5D.
    static std::uint16_t word(int number) { return std::uint16_t(number * 31 + 65); }

    /// The answer to \a request (from '%' to CR). The reference holds until the next call.
    /// Throws std::runtime_error for a request that is none of the commands above.
    const std::string &answer(const std::string &request);

private:
    std::string m_registered; ///< text of the last monitor registration
    std::unordered_map<std::string, std::string> m_answers;
};

/// \a text with its check code and CR. Example: "%01$WC" gives "%01$WC14" and CR.
std::string closedFrame(std::string text);

#endif
