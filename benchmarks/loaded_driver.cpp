// loaded_driver.cpp - see loaded_driver.h.

#include "loaded_driver.h"
#include "scenario.h"

#include <dlfcn.h>

namespace
{

void *openedLibrary()
{
    void *library = dlopen(FP_DRIVER_LIBRARY, RTLD_NOW | RTLD_LOCAL);
    if (!library)
        throw std::runtime_error(std::string("the driver does not load: ") + dlerror());
    return library;
}

void readFinished(qint32, qint32, qint32, qint32) {}
void commFailed(QList<RW_VAR> *, qint32, qint32) {}

} // namespace

#define FP_RESOLVED(name) reinterpret_cast<decltype(&::name)>(resolved(#name))

LoadedDriver::LoadedDriver(Mode mode)
    : m_library(openedLibrary()), comCommunication(FP_RESOLVED(ComCommunication)), dataCom(FP_RESOLVED(DataCom)),
      addListReadVar(FP_RESOLVED(AddListReadVar)), addListWriteVar(FP_RESOLVED(AddListWriteVar)),
      reCreatReadVarList(FP_RESOLVED(ReCreatReadVarList)), getRegisterData(FP_RESOLVED(GetRegisterData)),
      setRegisterData(FP_RESOLVED(SetRegisterData)), object(*FP_RESOLVED(PLC_driver)),
      qmapLength(*FP_RESOLVED(qmap_length))
{
    require(object.curReqKind == RequestNone && object.lst_ExtendVar.isEmpty() && object.lst_PollingReadVar.isEmpty(),
            "the driver is not fresh after loading");
    info.maxWordsPerWrite = 16;
    info.defaultStation = 1;
    info.multiStation = mode;
    info.hostMode = 2;
    FP_RESOLVED(SetComInfo)(&info);
    FP_RESOLVED(RegistCallBackFuncIntf)(readFinished, commFailed);
}

LoadedDriver::~LoadedDriver()
{
    dlclose(m_library);
}

void *LoadedDriver::resolved(const char *name) const
{
    void *address = dlsym(m_library, name);
    if (!address)
        throw std::runtime_error(std::string("the driver has no ") + name);
    return address;
}
