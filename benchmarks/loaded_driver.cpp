// loaded_driver.cpp - see loaded_driver.h.

#include "loaded_driver.h"
#include "scenario.h"

namespace
{

const fphost::DriverApi &opened(fphost::DriverLibrary &library)
{
    if (const auto error = library.open(QStringLiteral(FP_DRIVER_LIBRARY)))
        throw std::runtime_error(error->toStdString());
    return library.api();
}

void readFinished(qint32, qint32, qint32, qint32) {}
void commFailed(QList<RW_VAR> *, qint32, qint32) {}

} // namespace

LoadedDriver::LoadedDriver(Mode mode) : api(opened(m_library)), object(*api.PLC_driver)
{
    require(object.curReqKind == RequestNone && object.lst_ExtendVar.isEmpty() && object.lst_PollingReadVar.isEmpty(),
            "the driver is not fresh after loading");
    info.maxWordsPerWrite = 16;
    info.defaultStation = 1;
    info.multiStation = mode;
    info.hostMode = 2;
    api.SetComInfo(&info);
    api.RegistCallBackFuncIntf(readFinished, commFailed);
}
