// fault_state.cpp - decides about faults, and spoils the text of answers.

#include "fault_state.h"

#include "wire_text.h"

#include <algorithm>

namespace plcsim
{

namespace
{

char nextDigit(char digit)
{
    constexpr char kDigits[] = "0123456789ABCDEF";
    return kDigits[(hexDigit(digit) + 1) & 15];
}

/// Another command of the same family, so that nothing but the echo tells the response from a right one.
QByteArray otherCommand(const QByteArray &command)
{
    constexpr const char *kOthers[][2] = {
        {"RC", "RD"}, {"RD", "RS"}, {"RS", "RK"}, {"RK", "RC"}, {"RT", "RD"}, {"WC", "WD"},
        {"WD", "WS"}, {"WS", "WK"}, {"WK", "WC"}, {"MD", "MC"}, {"MC", "MG"}, {"MG", "MD"},
    };
    for (const auto &pair : kOthers) {
        if (command == pair[0])
            return pair[1];
    }
    return command;
}

void spoilCheck(QByteArray *reply, const Effects &effects)
{
    const int check = reply->size() - kFrameTail;
    if (effects.badCheck)
        (*reply)[check + 1] = nextDigit(reply->at(check + 1));
    if (effects.lowerCaseCheck)
        reply->replace(check, kCheckChars, reply->mid(check, kCheckChars).toLower());
}

} // namespace

void FaultState::setPlan(const FaultPlan &plan)
{
    requireGood(plan);
    plan_ = plan;
    random_.seed(plan.seed);
    silent_ = false;
}

int FaultState::random(int count)
{
    return static_cast<int>(random_() % static_cast<std::mt19937::result_type>(count));
}

QByteArray FaultState::junk(int bytes)
{
    QByteArray result;
    for (int i = 0; i < bytes; ++i)
        result.append(static_cast<char>(random(256)));
    return result;
}

Effects FaultState::next(qint64 nowMs)
{
    Effects effects;
    silent_ = silent_ && nowMs < silentUntilMs_;
    if (silent_) {
        effects.any = effects.lost = true;
        return effects;
    }
    for (const Fault &fault : plan_.faults) {
        if (random(kEveryTime) < fault.chance)
            apply(fault, nowMs, &effects);
    }
    return effects;
}

void FaultState::apply(const Fault &fault, qint64 nowMs, Effects *effects)
{
    const bool ofTheUnitAlways = fault.kind == FaultKind::Unreadable || fault.kind == FaultKind::FrameLimit;
    effects->any = effects->any || !ofTheUnitAlways;
    switch (fault.kind) {
    case FaultKind::DropRequest:
        effects->lost = true;
        break;
    case FaultKind::ErrorResponse:
        effects->errorCode = fault.number == kAnyError ? random(256) : fault.number;
        break;
    case FaultKind::Restart:
        effects->lost = true;
        effects->forgetsRegistration = true;
        silent_ = true;
        silentUntilMs_ = nowMs + fault.number;
        break;
    case FaultKind::Unreadable:
    case FaultKind::FrameLimit:
        break; // the unit asks for them itself
    case FaultKind::WrongStation:
        effects->wrongStation = true;
        break;
    case FaultKind::WrongCommand:
        effects->wrongCommand = true;
        break;
    case FaultKind::ShortData:
        effects->missingCharacters += fault.number;
        break;
    case FaultKind::LongData:
        effects->surplusCharacters += fault.number;
        break;
    case FaultKind::BadCheck:
        effects->badCheck = true;
        break;
    case FaultKind::LowerCaseCheck:
        effects->lowerCaseCheck = true;
        break;
    case FaultKind::JunkBefore:
        effects->junkBefore += junk(fault.number);
        break;
    case FaultKind::JunkAfter:
        effects->junkAfter += junk(fault.number);
        break;
    case FaultKind::DropReply:
        effects->dropped = true;
        break;
    case FaultKind::Delay:
        effects->delayMs += fault.number;
        break;
    case FaultKind::Jitter:
        effects->delayMs += fault.number + random(fault.last - fault.number + 1);
        break;
    case FaultKind::Late:
        effects->lateMs += fault.number;
        break;
    case FaultKind::Duplicate:
        effects->duplicate = true;
        break;
    case FaultKind::Split:
        effects->pauseMs = std::max<qint64>(effects->pauseMs.value_or(0), 0);
        break;
    case FaultKind::Drip:
        effects->pauseMs = std::max<qint64>(effects->pauseMs.value_or(0), fault.number);
        break;
    case FaultKind::Glue:
        effects->glue = true;
        break;
    case FaultKind::Reset:
        effects->reset = true;
        break;
    case FaultKind::HalfOpen:
        effects->halfOpen = true;
        break;
    }
}

std::optional<int> FaultState::unreadable(Area area, int first, int last) const
{
    for (const Fault &fault : plan_.faults) {
        if (fault.kind == FaultKind::Unreadable && fault.area == area && fault.number <= last && first <= fault.last)
            return fault.errorCode;
    }
    return std::nullopt;
}

int FaultState::frameLimit(int limit) const
{
    for (const Fault &fault : plan_.faults) {
        if (fault.kind == FaultKind::FrameLimit)
            limit = std::min(limit, fault.number);
    }
    return limit;
}

QByteArray spoiled(const QByteArray &reply, const Effects &effects)
{
    QByteArray destination = reply.mid(1, kDestinationChars);
    QByteArray body = reply.mid(kFrameHead, reply.size() - kFrameHead - kFrameTail);
    const char mark = reply.at(kFrameHead - 1);
    if (effects.wrongStation)
        destination[1] = nextDigit(destination.at(1));
    if (mark == '$') {
        if (effects.wrongCommand)
            body.replace(0, kEchoChars, otherCommand(body.left(kEchoChars)));
        body.chop(std::min(effects.missingCharacters, body.size() - kEchoChars));
        body.append(QByteArray(effects.surplusCharacters, '0'));
    }
    QByteArray result = responseFrame(reply.at(0), destination, mark, body);
    spoilCheck(&result, effects);
    return effects.junkBefore + result + effects.junkAfter;
}

} // namespace plcsim
