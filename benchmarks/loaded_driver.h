// loaded_driver.h - the built library, loaded as a host loads it.
//
//  - Each instance loads the library anew and unloads it at its end, so every measurement starts from a fresh driver.
//    Only one instance lives at a time.

#ifndef BENCHMARKS_LOADED_DRIVER_H
#define BENCHMARKS_LOADED_DRIVER_H

#include "host/driver_library.h"

class LoadedDriver
{
    fphost::DriverLibrary m_library;

public:
    enum Mode { SingleStation = 0, MultiStation = 1 };

    /// Loads the library and sets it up. Throws std::runtime_error if it cannot be loaded, or is not in the state that
    /// it has after loading.
    explicit LoadedDriver(Mode mode);
    LoadedDriver(const LoadedDriver &) = delete;
    LoadedDriver &operator=(const LoadedDriver &) = delete;

    ComInfo info; ///< what the driver was lent: station 1, no retries, 16 words per write, writes go to the PLC
    const fphost::DriverApi &api;
    Matsushita_TCPIP_net &object;
};

#endif
