#pragma once

#include <QCommandLineParser>
#include <QStringList>

#include <functional>

/// Ends the program over arguments that cannot be used.
[[noreturn]] void refuse(const QString& text);

/// The value of the @p option as a number; the program ends where it is none from @p lowest to @p highest.
int number(const QCommandLineParser& parser, const QString& option, int lowest, int highest);

/// The options that every program has.
QList<QCommandLineOption> commonOptions();

/// Lets the @p parser, which has the @p options, read the @p arguments. Ends the program over --help,
/// --version, options that it does not know and values that are missing.
void readArguments(QCommandLineParser& parser, const QList<QCommandLineOption>& options,
                   const QStringList& arguments);

/// Ends the program where @p path is there and no serial device.
void checkDevice(const QString& path);

/// What the shell is to complete, beside the names of options.
struct Completion
{
    /// What the value of an option can be, by the name of its value in the help, as in "language"; @p word is
    /// what is typed of it.
    std::function<QStringList(const QString& valueName, const QString& word)> values =
        [](const QString&, const QString&) { return QStringList(); };
    bool takesFiles = false; ///< words that belong to no option are names of files
};

/// Where the @p arguments ask by --complete what their last word can be, tells that, one a line, and ends the
/// program. The words FILE and DIRECTORY in angle brackets stand for the names of those.
void answerCompletion(const QStringList& arguments, const QList<QCommandLineOption>& options,
                      const Completion& completion);
