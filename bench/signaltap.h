#pragma once

#include <QMetaMethod>
#include <QObject>
#include <QVariant>

#include <functional>

/// Calls one function for every signal of a class, with the signal and its arguments.
class SignalTap : public QObject
{
public:
    using Handler = std::function<void(const QMetaMethod& signal, const QVariantList& arguments)>;

    explicit SignalTap(Handler handler)
        : m_handler(std::move(handler))
    {
    }

    /// Connects to every signal that @p meta itself declares, as @p sender emits it.
    void connectTo(QObject& sender, const QMetaObject& meta)
    {
        m_meta = &meta;
        for (int method = meta.methodOffset(); method < meta.methodCount(); ++method) {
            if (meta.method(method).methodType() == QMetaMethod::Signal)
                QMetaObject::connect(&sender, method, this, QObject::staticMetaObject.methodCount() + method);
        }
    }

    /// Receives the signals: the slots behind QObject's own are numbered like the sender's signals.
    int qt_metacall(QMetaObject::Call call, int id, void** values) override
    {
        id = QObject::qt_metacall(call, id, values);
        if (call != QMetaObject::InvokeMetaMethod || id < 0)
            return id;
        const QMetaMethod signal = m_meta->method(id);
        QVariantList arguments;
        for (int i = 0; i < signal.parameterCount(); ++i)
            arguments.append(QVariant(signal.parameterType(i), values[i + 1]));
        m_handler(signal, arguments);
        return -1;
    }

private:
    Handler m_handler;
    const QMetaObject* m_meta = nullptr;
};
