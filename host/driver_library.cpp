// driver_library.cpp - see driver_library.h.

#include "driver_library.h"

#include <QtCore/QFile>

#include <dlfcn.h>

namespace fphost
{

namespace
{

/// Resolves names one after the other and keeps the first one that is missing.
class Resolver
{
public:
    explicit Resolver(void *handle) : handle_(handle) {}

    template <typename Pointer> void operator()(const char *name, Pointer &target)
    {
        void *const address = dlsym(handle_, name);
        if (!address && !missing_)
            missing_ = name;
        target = reinterpret_cast<Pointer>(address);
    }

    const char *missing() const { return missing_; }

private:
    void *handle_;
    const char *missing_ = nullptr;
};

const char *resolveAll(void *handle, DriverApi &api)
{
    Resolver resolve(handle);
    resolve("SetComInfo", api.SetComInfo);
    resolve("RegistCallBackFuncIntf", api.RegistCallBackFuncIntf);
    resolve("FlashLocalRegister", api.FlashLocalRegister);
    resolve("QueryFinishFlag", api.QueryFinishFlag);
    resolve("PLCAddressChangeIntef", api.PLCAddressChangeIntef);
    resolve("EnCommStation", api.EnCommStation);
    resolve("ComCommunication", api.ComCommunication);
    resolve("DataCom", api.DataCom);
    resolve("AddListReadVar", api.AddListReadVar);
    resolve("AddListWriteVar", api.AddListWriteVar);
    resolve("AddListOnceReadVar", api.AddListOnceReadVar);
    resolve("ReCreatReadVarList", api.ReCreatReadVarList);
    resolve("GetRegisterData", api.GetRegisterData);
    resolve("SetRegisterData", api.SetRegisterData);
    resolve("PLC_driver", api.PLC_driver);
    resolve("qmap_list", api.qmap_list);
    resolve("qmap_length", api.qmap_length);
    resolve("map_bit", api.map_bit);
    resolve("map_word", api.map_word);
    resolve("LB", api.LB);
    resolve("LW", api.LW);
    resolve("RWI", api.RWI);
    return resolve.missing();
}

} // namespace

DriverLibrary::~DriverLibrary()
{
    close();
}

std::optional<QString> DriverLibrary::open(const QString &path)
{
    close();
    const QString cannot = QStringLiteral("cannot load the driver library %1: %2");
    if (path.isEmpty())
        return QStringLiteral("no driver library was named");
    if (path.contains(QLatin1Char('/')) && !QFile::exists(path))
        return cannot.arg(path, QStringLiteral("there is no such file"));
    // Everything is bound now, so that a library that lacks something fails here and not in the middle of an exchange.
    handle_ = dlopen(QFile::encodeName(path).constData(), RTLD_NOW | RTLD_LOCAL);
    if (!handle_)
        return cannot.arg(path, QString::fromLocal8Bit(dlerror()));
    if (const char *missing = resolveAll(handle_, api_)) {
        close();
        return QStringLiteral("%1 is not the driver library: it lacks %2").arg(path, QString::fromLatin1(missing));
    }
    return std::nullopt;
}

void DriverLibrary::close()
{
    api_ = DriverApi();
    if (handle_)
        dlclose(handle_);
    handle_ = nullptr;
}

} // namespace fphost
