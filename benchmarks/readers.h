// readers.h - clients that read 16 registers over a TCP loopback connection, one request after another.
//
//  - Each does what its library asks for and nothing more; all look at the values that arrive.

#ifndef BENCHMARKS_READERS_H
#define BENCHMARKS_READERS_H

#include <memory>

inline constexpr int kReaderWords = 16;

class Reader
{
public:
    Reader() = default;
    Reader(const Reader &) = delete;
    Reader &operator=(const Reader &) = delete;
    virtual ~Reader() = default;

    /// Reads \a times times. Throws std::runtime_error when a read fails or brings a wrong value.
    virtual void read(long times) = 0;
};

/// A blocking socket that sends the driver's 20 characters and waits for the 73 of the answer: nothing but the system.
std::unique_ptr<Reader> rawReader(int plcPort);

/// libmodbus. \param words  registers per read; the numbers read are 0, 1, 2 ... in turn when it is 1
std::unique_ptr<Reader> libmodbusReader(int modbusPort, int words);

/// QtSerialBus' client, which sends the next request as soon as it tells that the last one is finished. Needs a
/// QCoreApplication.
std::unique_ptr<Reader> qtModbusReader(int modbusPort);

#endif
