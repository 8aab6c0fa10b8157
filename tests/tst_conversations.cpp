// Plays the conversations of tests/conversations and the examples of docs/protocol.md through the built
// plug-in.

#include "conversation.h"
#include "testmain.h"

#include <QDir>

class ConversationsTest : public QObject
{
    Q_OBJECT

private slots:
    void play_data();
    void play();
};

Q_DECLARE_METATYPE(Scene)

void ConversationsTest::play_data()
{
    QTest::addColumn<Scene>("scene");
    const QDir folder(QStringLiteral(SOURCE_FOLDER "/tests/conversations"));
    QFileInfoList files = folder.entryInfoList({QStringLiteral("*.txt")}, QDir::Files, QDir::Name);
    QVERIFY(!files.isEmpty());
    files.append(QFileInfo(QStringLiteral(SOURCE_FOLDER "/docs/protocol.md")));
    for (const QFileInfo& file : qAsConst(files)) {
        const auto scenes = readConversation(file.filePath());
        QVERIFY2(!scenes.empty(), qPrintable(file.filePath()));
        for (const Scene& scene : scenes) {
            QVERIFY2(!scene.steps.empty(), qPrintable(scene.title));
            QTest::newRow(qPrintable(file.baseName() + ": " + scene.title)) << scene;
        }
    }
}

void ConversationsTest::play()
{
    QFETCH(Scene, scene);
    const QString difference = ::play(scene);
    QVERIFY2(difference.isEmpty(), qPrintable(difference));
}

VIRTUAL_TIME_TEST_MAIN(ConversationsTest)
#include "tst_conversations.moc"
