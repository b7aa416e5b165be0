// Loading the driver by its path.

#include "host/driver_library.h"

#include <gtest/gtest.h>

#include <QtCore/QFile>
#include <QtCore/QTemporaryDir>

using fphost::DriverLibrary;

namespace
{

std::string text(const std::optional<QString> &error)
{
    return error ? error->toStdString() : std::string();
}

} // namespace

TEST(DriverLibrary, LoadsTheDriverWithAllItsNames)
{
    DriverLibrary library;
    EXPECT_EQ(text(library.open(QStringLiteral(DRIVER_LIBRARY))), "");
    ASSERT_NE(library.api().QueryFinishFlag, nullptr);
    EXPECT_EQ(library.api().QueryFinishFlag(), 1);
    ASSERT_NE(library.api().PLC_driver, nullptr);
    EXPECT_EQ(library.api().PLC_driver->curReqKind, RequestNone);
    library.api().FlashLocalRegister(1, 2, 3);
    EXPECT_EQ(*library.api().LB, 1u);
    EXPECT_EQ(*library.api().LW, 2u);
    EXPECT_EQ(*library.api().RWI, 3u);
    EXPECT_EQ(library.api().PLCAddressChangeIntef(KindX, QStringLiteral("10F")), 175);
    EXPECT_TRUE(library.api().map_bit->isEmpty());
    EXPECT_TRUE(library.api().map_word->isEmpty());
    EXPECT_TRUE(library.api().qmap_list->isEmpty());
    EXPECT_EQ(*library.api().qmap_length, 0);
}

TEST(DriverLibrary, LoadedAnewItIsFresh)
{
    DriverLibrary library;
    ASSERT_EQ(text(library.open(QStringLiteral(DRIVER_LIBRARY))), "");
    library.api().FlashLocalRegister(1, 2, 3);
    library.close();
    EXPECT_EQ(library.api().LB, nullptr);
    ASSERT_EQ(text(library.open(QStringLiteral(DRIVER_LIBRARY))), "");
    EXPECT_EQ(*library.api().LB, 0u);
}

TEST(DriverLibrary, NamesTheFileThatIsNotThere)
{
    DriverLibrary library;
    EXPECT_EQ(text(library.open(QStringLiteral("/nowhere/libdriver.so"))),
              "cannot load the driver library /nowhere/libdriver.so: there is no such file");
    EXPECT_EQ(library.api().DataCom, nullptr);
}

TEST(DriverLibrary, NamesTheFileNameThatTheSystemDoesNotFind)
{
    DriverLibrary library;
    const std::string error = text(library.open(QStringLiteral("libno-such-driver.so")));
    EXPECT_EQ(error.find("cannot load the driver library libno-such-driver.so: "), 0u) << error;
    EXPECT_EQ(error.find('\n'), std::string::npos);
}

TEST(DriverLibrary, SaysThatNoLibraryWasNamed)
{
    DriverLibrary library;
    EXPECT_EQ(text(library.open(QString())), "no driver library was named");
}

TEST(DriverLibrary, RefusesAFileThatIsNoLibrary)
{
    const QTemporaryDir folder;
    const QString path = folder.filePath(QStringLiteral("libtext.so"));
    QFile file(path);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    file.write("not a library\n");
    file.close();
    DriverLibrary library;
    const std::string error = text(library.open(path));
    EXPECT_EQ(error.find("cannot load the driver library " + path.toStdString() + ": "), 0u) << error;
    EXPECT_EQ(error.find('\n'), std::string::npos);
}

TEST(DriverLibrary, NamesTheNameThatIsMissing)
{
    DriverLibrary library;
    EXPECT_EQ(text(library.open(QStringLiteral(INCOMPLETE_LIBRARY))),
              INCOMPLETE_LIBRARY " is not the driver library: it lacks ReCreatReadVarList");
    EXPECT_EQ(library.api().DataCom, nullptr) << "nothing is loaded then";
}
