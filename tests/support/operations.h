#pragma once

#include <canservicebase.h>

#include <QStringList>

#include <functional>
#include <vector>

/// One virtual operation of CanServiceBase, callable with arguments and result as text.
struct Operation
{
    QString name;
    bool isGetter; ///< takes nothing, or a record to fill, and gives something back
    /// Calls it. Numbers are decimal, bytes "01 02", lists "a|b". The result of a call without one is empty.
    /// The operation that the environment variable SABOTAGED_OPERATION names answers wrongly, or does not do
    /// what it should and answers at all: so a test is proved to fail when the operation does.
    std::function<QString(CanServiceBase&, const QStringList& arguments)> call;
};

/// All operations, in slot order.
const std::vector<Operation>& operations();
/// The operation of that name; ends the test run when there is none.
const Operation& operation(const QString& name);
/// "name value" for every getter, in slot order.
QStringList snapshot(CanServiceBase& service);
/// The lines of @p after that differ from those of @p before, both snapshots.
QStringList changes(const QStringList& before, const QStringList& after);
