// loaded_driver.h - the built library, loaded as a host loads it.
//
//  - Each instance loads the library anew and unloads it at its end, so every measurement starts from a fresh driver.
//    Only one instance lives at a time.
//  - All names are resolved at load time; no measured call looks one up.

#ifndef BENCHMARKS_LOADED_DRIVER_H
#define BENCHMARKS_LOADED_DRIVER_H

#include "matsushita_tcpip_net.h"

class LoadedDriver
{
    void *m_library; // first: the functions below come out of it

public:
    enum Mode { SingleStation = 0, MultiStation = 1 };

    /// Loads the library and sets it up. Throws std::runtime_error if it cannot be loaded, lacks a name, or is not in
    /// the state that it has after loading.
    explicit LoadedDriver(Mode mode);
    ~LoadedDriver();
    LoadedDriver(const LoadedDriver &) = delete;
    LoadedDriver &operator=(const LoadedDriver &) = delete;

    ComInfo info; ///< what the driver was lent: station 1, no retries, 16 words per write, writes go to the PLC

    decltype(&ComCommunication) const comCommunication;
    decltype(&DataCom) const dataCom;
    decltype(&AddListReadVar) const addListReadVar;
    decltype(&AddListWriteVar) const addListWriteVar;
    decltype(&ReCreatReadVarList) const reCreatReadVarList;
    decltype(&GetRegisterData) const getRegisterData;
    decltype(&SetRegisterData) const setRegisterData;
    Matsushita_TCPIP_net &object;
    const qint32 &qmapLength;

private:
    void *resolved(const char *name) const;
};

#endif
