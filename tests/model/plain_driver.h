// plain_driver.h - the driver once more, written to be read: the reference that the real one is compared with.
//
//  - Each routine is the list of its steps, in order, with no index, no table walk, no sharing and no speed: linear
//    searches, the exchange sort, digits one by one.
//  - Nothing of the driver's sources and nothing of Qt is used. Texts are Latin-1, values are plain bytes.
//  - All arithmetic on addresses and counts is done in 64 bits, so that it cannot overflow here.

#ifndef PLAIN_DRIVER_H
#define PLAIN_DRIVER_H

#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace plain
{

using Bytes = std::string; // value bytes, frames
using Text = std::string;  // Latin-1
using Int = std::int32_t;
using Wide = std::int64_t;

struct Var {
    Int ownerId = 0, ownerTag = 0, varFlag = 0, remoteMode = 0, linkNo = 0, result = 0;
    Text name, addrText;
    Int areaKind = 0, address = 0, station = 0, count = 0, extra1 = 0, extra2 = 0;
    Bytes data;
};

struct Frame {
    Bytes frame;
    Int frameLen = 0, replyLen = 0, dataPos = 0, dataLen = 0;
    Var var;
};

struct Cell {
    Int station = 0, areaKind = 0, address = 0;
    Bytes data;
};

struct Item {
    std::uint8_t areaKind = 0, station = 0;
    Text addrText, name;
    Int count = 0;
};

struct Settings {
    Int hostWord1 = 0, hostWord2 = 0, hostWord3 = 0, hostWord4 = 0, maxWordsPerWrite = 0, hostWord6 = 0;
    Int defaultStation = 0, retryLimit = 0, retryCount = 0, multiStation = 0, reserved40 = 0;
    Int framesTotal = 0, framesDone = 0, reserved52 = 0, remoteMode = 0, linkNo = 0, hostMode = 0, cycleDone = 0;
    Int hostHandle = 0;
};

/// One call of one of the two callbacks, as text: "finish 77 1 2 1" or "error 5 1".
using Call = std::string;

// Stateless helpers.
unsigned calXor(const Bytes &bytes);
unsigned calSum(const Bytes &bytes);
unsigned calCrc(const Bytes &bytes);
unsigned calLrc(const Bytes &bytes);
int digitalToAscii(int digit);
int asciiToDigital(int ch);
/// Any negative number stands for a bad address.
Int stringAddressToInt(Int kind, const Text &text);
/// Words of the area of a kind (the words that hold the bits for kinds 0 to 5); 1,000,000 for a kind without an area.
Wide wordsOf(Int kind);
/// Elements of the area: bits for kinds 0 to 5, words for the others.
Wide elementsOf(Int kind);
/// The number of words that n bits touch from bit a of a word on: truncating, as it stands.
Wide wordsTouched(Wide a, Wide n);
void getBits(Bytes &out, const std::vector<std::uint16_t> &area, Wide start, Wide count);
void getWords(Bytes &out, const std::vector<std::uint16_t> &area, Wide start, Wide count);
void setBits(Wide start, std::vector<std::uint16_t> &area, const Bytes &in, Wide count);
void setWords(Wide start, std::vector<std::uint16_t> &area, const Bytes &in, Wide count);
void getDoubleWords(Bytes &out, const std::vector<std::uint16_t> &area, Wide start, Wide count);
void setDoubleWords(Wide start, std::vector<std::uint16_t> &area, const Bytes &in, Wide count);
void exchangeSort(std::vector<Var> &list);
/// \a var's address is left at the last piece made.
void whetherGroup(Wide n, Wide size, Var &var, std::vector<Var> &out);

class Driver
{
public:
    Driver();

    // What the host sees.
    Settings info;
    std::vector<Var> polling, writes, onceReads, qmapList;
    std::vector<Frame> frames;
    std::vector<Cell> cells;
    std::map<Int, Int> offStations;
    Var retVar;
    Int curReqKind = 100, writeCount = 0, onceReadCount = 0, pollReplyCount = 0, qmapLength = 0;
    int bCommFail = 0;
    std::vector<std::uint16_t> area[15]; // kinds 4 to 14 are used
    std::vector<Call> calls;

    // The exported functions.
    void enCommStation(Int station, Int enable);
    bool comCommunication(); // true: the head of frames is handed out
    void dataCom(const Bytes &reply, Int length);
    Int addListReadVar(const Var &var);
    Int addListWriteVar(const Var &var, Int direct);
    Int addListOnceReadVar(Var &var, Int direct);
    Int reCreatReadVarList(const std::vector<Item> &items);
    Int getRegisterData(Int kind, const Text &addrText, Int station, Bytes &out, Int count);
    Int setRegisterData(const Text &name, Int kind, const Text &addrText, Int station, const Bytes &data, Int count,
                        Int ownerId, Int ownerTag);

    // The inner routines.
    bool stationIsOff(Int station) const;
    Int findCell(Int station, Int kind, Int word);
    void writeDataToLocal(const Var &var);
    void wordVarReCreatBuild(const std::vector<Var> &group, Wide maxLen);
    void sortPolling();
    void readRegister();
    void readBoolRCC(const Var &var);
    void readAnalog(const Var &var);
    void readTCSK(const Var &var);
    void readWordMD(const Var &var);
    void writeRegister(const Var &var);
    void writeBool(const Var &var);
    void writeWords(const Var &var); // WCC, WD, WS and WK by kind
    void remoteWriteVar(const Var &var);
    void remoteReadVar(const Var &var);
    int checkGetData(const Bytes &reply, Int length) const;
    void saveToLocal(const Bytes &reply);
    void saveWordToUC(const Bytes &reply);
    /// \a base stands for the whole byte area behind the pointer.
    void saveBitToUC(const Bytes &reply, Bytes &base) const;
    void specialRegisterSave(const Bytes &reply, std::vector<std::uint16_t> &base);
    int switchErrorReturn(int base) const;
    int driverReturnValue(int reason) const;

private:
    bool multi() const { return info.multiStation != 0; }
    void announce(Int frameCount);
    void queueRead(const Bytes &frame, const Var &var);
    bool discardSwitchedOff(std::vector<Var> &list);
    void gatherPollingGroup();
    int dealLocal(const Bytes &reply, Int length);
    int dealRemote(const Bytes &reply, Int length);
    void endRequest(bool local);
    void endOnceRead(bool local);
    void dropWhatWouldFail();
    void storeWord(Int kind, Wide element, unsigned word);
    void storeCell(const Bytes &reply, Wide lastChar, Int station, Int kind, Wide word);
};

} // namespace plain

#endif
