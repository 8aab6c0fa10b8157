// The contract of the built library as a binary: what it exports, what it needs of the host, at which slots
// the host finds the operations, and its metadata.

#include "testmain.h"

#include "operations.h"

#include <QFile>
#include <QJsonObject>
#include <QProcess>

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

// A sanitizer's entry points, and operators new and delete, which it replaces.
static bool isSanitizers(const QString& symbol)
{
    return symbol.startsWith("__") || symbol.startsWith("_Zn") || symbol.startsWith("_Zd");
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

// Behind the twelve virtual functions of QObject.
void BinaryTest::operationsLieInSlotOrder()
{
    int slot = 12;
    for (const Operation& operation : operations())
        QVERIFY2(operation.slot == slot++, qPrintable(operation.name));
    QCOMPARE(operations().size(), std::size_t{124});
}

void BinaryTest::metaData()
{
    const QJsonObject data = RecordingHost::instance().loader().metaData();
    QCOMPARE(data.value("IID").toString(), QStringLiteral("canservice.CanServiceBase/1.0"));
    QCOMPARE(data.value("className").toString(), QStringLiteral("SimpleService"));
    QCOMPARE(data.value("MetaData").toObject(), QJsonObject());
}

VIRTUAL_TIME_TEST_MAIN(BinaryTest)
#include "tst_binary.moc"
