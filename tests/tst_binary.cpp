// The contract of the built library as a binary: what it exports, what it needs of the host, at which slots
// the host finds the operations, and its metadata.

#include "testmain.h"

#include "operations.h"

#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>

#include <cstddef>
#include <cstring>

// Signatures and layouts, which hosts that are built already have compiled in.
template<typename Signature> using Member = Signature CanServiceBase::*;
#define OPERATION(number, name, ...)                                                                         \
    static_assert(std::is_same_v<decltype(&CanServiceBase::name), Member<__VA_ARGS__>>,                      \
                  "a host that is built already calls " #name " as " #__VA_ARGS__);
#include "abi/slots.inc"
#undef OPERATION
#define RECORD(record, bytes)                                                                                \
    static_assert(sizeof(record) == (bytes),                                                                 \
                  "a host that is built already has " #record " in " #bytes " bytes");
#define FIELD(record, field, offset)                                                                         \
    static_assert(offsetof(record, field) == (offset),                                                       \
                  "a host that is built already has " #record "::" #field " at offset " #offset);
#if QT_POINTER_SIZE == 4
#include "abi/layout32.inc"
#else
#include "abi/layout64.inc"
#endif

class BinaryTest : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void exportsEntryPointsOnly();
    void needsTheseHostSymbols();
    void operationsLieInSlotOrder();
    void metaData();

private:
    QStringList m_exported;
    QStringList m_needed;
};

// The host's symbols are C++. A sanitizer needs its own entry points and stands in for functions of C, new
// and delete.
static bool isSanitizers(const QString& symbol)
{
    return !symbol.startsWith("_Z") || symbol.startsWith("_Zn") || symbol.startsWith("_Zd");
}

// Symbols of Qt and of the system's libraries carry a version; what is needed without one must come from the
// host.
void BinaryTest::initTestCase()
{
    class : public QProcess
    {
    } readelf; // derived, for it then starts its process in a way that emulators of user programs know
    readelf.start(QStringLiteral("readelf"), {"--dyn-syms", "--wide", PLUGIN_FILE});
    QVERIFY(readelf.waitForFinished());
    QCOMPARE(readelf.exitCode(), 0);
    while (readelf.canReadLine()) {
        const QStringList columns = QString::fromLatin1(readelf.readLine()).simplified().split(' ');
        if (columns.size() < 8 || columns.at(4) != "GLOBAL")
            continue;
        const QString& name = columns.at(7);
        if (columns.at(6) != "UND")
            m_exported << name;
        else if (!name.contains('@') && !isSanitizers(name))
            m_needed << name;
    }
    m_exported.sort();
    m_needed.sort();
}

void BinaryTest::exportsEntryPointsOnly()
{
    QCOMPARE(m_exported, (QStringList{"qt_plugin_instance", "qt_plugin_query_metadata"}));
}

void BinaryTest::needsTheseHostSymbols()
{
    QFile file(QStringLiteral(SOURCE_FOLDER "/tests/abi/host-symbols.txt"));
    QVERIFY(file.open(QIODevice::ReadOnly));
    QStringList expected = QString::fromLatin1(file.readAll()).split('\n', Qt::SkipEmptyParts);
    expected.sort();
    for (const QString& symbol : qAsConst(m_needed))
        QVERIFY2(expected.contains(symbol), qPrintable("a host that is built already lacks " + symbol));
    QCOMPARE(m_needed, expected);
}

// The first virtual function of a class derived from the host's takes the slot behind the host's last.
class Beyond : public CanServiceBase
{
public:
    virtual void beyond() = 0;
};

void BinaryTest::operationsLieInSlotOrder()
{
    struct Row
    {
        int slot;
        const char* name;
    };
#define OPERATION(number, name, ...) {number, #name},
    const Row rows[] = {
#include "abi/slots.inc"
    };
#undef OPERATION
    for (const Row& row : rows)
        QVERIFY2(operation(row.name).slot == row.slot,
                 qPrintable(QStringLiteral("a host that is built already calls %1 through slot %2")
                                .arg(row.name)
                                .arg(row.slot)));
    const auto beyond = &Beyond::beyond;
    std::ptrdiff_t offset = 0;
    std::memcpy(&offset, &beyond, sizeof offset);
    QCOMPARE(offset / std::ptrdiff_t{sizeof(void*)}, std::ptrdiff_t{12 + std::size(rows)});
}

void BinaryTest::metaData()
{
    QFile file(QStringLiteral(SOURCE_FOLDER "/tests/abi/metadata.json"));
    QVERIFY(file.open(QIODevice::ReadOnly));
    QJsonObject data = RecordingHost::instance().loader().metaData();
    data.remove("debug");
    data.remove("archreq");
    QCOMPARE(QJsonDocument(data).toJson(), file.readAll());
}

VIRTUAL_TIME_TEST_MAIN(BinaryTest)
#include "tst_binary.moc"
