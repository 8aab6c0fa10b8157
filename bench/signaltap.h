#pragma once

#include "carstate.h"

#include <QMetaMethod>
#include <QObject>

#include <functional>

/// Calls one function for every signal of a class, with the signal's name and its arguments.
class SignalTap : public QObject
{
public:
    using Handler = std::function<void(const QString& signal, const QVector<Reading>& arguments)>;

    explicit SignalTap(Handler handler)
        : m_handler(std::move(handler))
    {
    }

    /// Connects to every signal that @p meta itself declares, but @p left, as @p sender emits it.
    void connectTo(QObject& sender, const QMetaObject& meta, const QMetaMethod& left)
    {
        for (int i = meta.methodOffset(); i < meta.methodCount(); ++i) {
            const QMetaMethod method = meta.method(i);
            if (method.methodType() != QMetaMethod::Signal || method == left)
                continue;
            Signal signal{method.name(), {}, {}};
            for (int parameter = 0; parameter < method.parameterCount(); ++parameter) {
                signal.parameters.append(method.parameterNames().at(parameter));
                signal.types.append(method.parameterType(parameter));
            }
            QMetaObject::connect(&sender, i, this,
                                 QObject::staticMetaObject.methodCount() + m_signals.size());
            m_signals.append(signal);
        }
    }

    /// Receives the signals: the slots behind QObject's own are numbered like m_signals.
    int qt_metacall(QMetaObject::Call call, int id, void** values) override
    {
        id = QObject::qt_metacall(call, id, values);
        if (call != QMetaObject::InvokeMetaMethod || id < 0)
            return id;
        const Signal& signal = m_signals[id];
        QVector<Reading> arguments;
        for (int i = 0; i < signal.types.size(); ++i)
            arguments.append({{}, signal.parameters[i], QVariant(signal.types[i], values[i + 1]), {}});
        m_handler(signal.name, arguments);
        return -1;
    }

private:
    struct Signal
    {
        QString name;
        QStringList parameters;
        QVector<int> types; // of the parameters
    };

    Handler m_handler;
    QVector<Signal> m_signals;
};
