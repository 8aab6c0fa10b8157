#include "commandline.h"

#include "exitcode.h"
#include "note.h"
#include "process.h"
#include "words.h"

#include <QDir>
#include <QRegularExpression>

#include <cstdlib>
#include <sys/stat.h>
#include <sys/sysmacros.h>

namespace {

// What a value can be in every program, by its name in the help.
QStringList commonValues(const QString& valueName, const QString& word)
{
    if (valueName == "device" && word.isEmpty()) {
        QStringList devices = QDir("/dev", "tty*", QDir::Name, QDir::System).entryList();
        return devices.replaceInStrings(QRegularExpression("^"), "/dev/");
    }
    if (valueName == "file" || valueName == "path" || valueName == "device")
        return {"<file>"};
    return valueName == "directory" ? QStringList("<directory>") : QStringList();
}

// What the help calls the value of the option that is called @p name with its dashes; empty where it has
// none.
QString valueNameOf(const QList<QCommandLineOption>& options, const QString& name)
{
    for (const QCommandLineOption& option : options) {
        if (name == "--" + option.names().constLast())
            return option.valueName();
    }
    return {};
}

// What the last of the words can be. bash hands an equals sign over as a word of its own, zsh does not.
QStringList completions(QStringList words, const QList<QCommandLineOption>& options,
                        const Completion& completion)
{
    QString word = words.isEmpty() ? QString() : words.takeLast();
    word = word == "=" ? QString() : word;
    words.removeAll("=");
    const bool isJoined = word.startsWith("--") && word.contains('=');
    const QString name = isJoined ? word.section('=', 0, 0) : words.isEmpty() ? QString() : words.constLast();
    const QString begin = isJoined ? name + '=' : QString();
    word.remove(0, begin.size());
    QStringList candidates;
    if (const QString valueName = valueNameOf(options, name); !valueName.isEmpty()) {
        candidates = commonValues(valueName, word) + completion.values(valueName, word);
    } else {
        for (const QCommandLineOption& other : options)
            candidates.append("--" + other.names().constLast());
        if (completion.takesFiles && !word.startsWith('-'))
            candidates.append("<file>");
    }
    QStringList fitting;
    for (const QString& candidate : qAsConst(candidates)) {
        if (candidate.startsWith(word) || candidate.startsWith('<'))
            fitting.append(candidate.startsWith('<') ? candidate : begin + candidate);
    }
    return fitting;
}

// Whether there is something that is no serial device. It is not opened, since that moves a real one's
// control lines; the kernel names the kind of those that are no pseudo-terminals.
bool isNoSerialDevice(const QString& path)
{
    struct stat status = {};
    if (stat(QFile::encodeName(path).constData(), &status) != 0)
        return false;
    const QFileInfo kind(
        QString("/sys/dev/char/%1:%2/subsystem").arg(major(status.st_rdev)).arg(minor(status.st_rdev)));
    return !S_ISCHR(status.st_mode) || (kind.exists() && QFileInfo(kind.symLinkTarget()).fileName() != "tty");
}

} // namespace

void refuse(const QString& text)
{
    complain(text + "; --help tells what can be given");
    std::exit(BadArguments);
}

int number(const QCommandLineParser& parser, const QString& option, int lowest, int highest)
{
    const std::optional<int> value = numberOf(parser.value(option));
    if (!value || *value < lowest || *value > highest)
        refuse(QString("--%1 needs a number from %2 to %3").arg(option).arg(lowest).arg(highest));
    return *value;
}

QList<QCommandLineOption> commonOptions()
{
    return {{{"h", "help"}, "Show this help."}, {"version", "Show the version."}};
}

void readArguments(QCommandLineParser& parser, const QList<QCommandLineOption>& options,
                   const QStringList& arguments)
{
    parser.addOptions(options);
    if (!parser.parse(arguments))
        refuse(parser.errorText().chopped(1)); // its full stop
    if (parser.isSet("help"))
        parser.showHelp();
    if (parser.isSet("version"))
        parser.showVersion();
    for (const QCommandLineOption& option : options) {
        if (!option.valueName().isEmpty() && parser.isSet(option) && parser.value(option).isEmpty())
            refuse("--" + option.names().constLast() + " needs a value");
    }
}

void checkDevice(const QString& path)
{
    if (isNoSerialDevice(path))
        refuse(path + " is no serial device");
}

void answerCompletion(const QStringList& arguments, const QList<QCommandLineOption>& options,
                      const Completion& completion)
{
    if (arguments.value(1) != "--complete")
        return;
    for (const QString& candidate : completions(arguments.mid(2), options, completion))
        printLine(stdout, candidate);
    std::exit(CleanEnd);
}
