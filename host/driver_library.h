// driver_library.h - loads the driver by its path at run time and resolves every name that it exports.
//
//  - The only road from the host to the driver: nothing here links the library.
//  - A file that is missing, or a name that it lacks, gives one error line that names it; then nothing is loaded.

#pragma once

#include "matsushita_tcpip_net.h"

#include <QtCore/QString>

#include <optional>

namespace fphost
{

/// The driver's exported functions and data objects, under their own names. All set, or all null.
struct DriverApi {
    decltype(&::SetComInfo) SetComInfo = nullptr;
    decltype(&::RegistCallBackFuncIntf) RegistCallBackFuncIntf = nullptr;
    decltype(&::FlashLocalRegister) FlashLocalRegister = nullptr;
    decltype(&::QueryFinishFlag) QueryFinishFlag = nullptr;
    decltype(&::PLCAddressChangeIntef) PLCAddressChangeIntef = nullptr;
    decltype(&::EnCommStation) EnCommStation = nullptr;
    decltype(&::ComCommunication) ComCommunication = nullptr;
    decltype(&::DataCom) DataCom = nullptr;
    decltype(&::AddListReadVar) AddListReadVar = nullptr;
    decltype(&::AddListWriteVar) AddListWriteVar = nullptr;
    decltype(&::AddListOnceReadVar) AddListOnceReadVar = nullptr;
    decltype(&::ReCreatReadVarList) ReCreatReadVarList = nullptr;
    decltype(&::GetRegisterData) GetRegisterData = nullptr;
    decltype(&::SetRegisterData) SetRegisterData = nullptr;

    decltype(&::PLC_driver) PLC_driver = nullptr;
    decltype(&::qmap_list) qmap_list = nullptr;
    decltype(&::qmap_length) qmap_length = nullptr;
    decltype(&::map_bit) map_bit = nullptr;
    decltype(&::map_word) map_word = nullptr;
    decltype(&::LB) LB = nullptr;
    decltype(&::LW) LW = nullptr;
    decltype(&::RWI) RWI = nullptr;
};

class DriverLibrary
{
public:
    DriverLibrary() = default;
    ~DriverLibrary(); // closes
    DriverLibrary(const DriverLibrary &) = delete;
    DriverLibrary &operator=(const DriverLibrary &) = delete;

    /// Loads the library and resolves its names; closes one that was open before.
    /// \param path  a file, or a bare file name that the system's loader looks for
    /// Result: nothing, or one line such as "cannot load the driver library /x/libdriver.so: there is no such file" or
    /// "/x/libother.so is not the driver library: it lacks ReCreatReadVarList".
    std::optional<QString> open(const QString &path);

    /// Unloads the library; what api() gave must not be used any more.
    void close();

    const DriverApi &api() const { return api_; }

private:
    void *handle_ = nullptr;
    DriverApi api_;
};

} // namespace fphost
