#include "place.h"

#include <QJsonArray>
#include <QJsonDocument>

namespace protocol {

namespace {

// Walks over the values of a valid document.
class Walker
{
public:
    explicit Walker(const QByteArray& json)
        : m_json(json)
    {
        skipSpace();
    }

    int at() const { return m_at; }

    // Goes to the value of @p step within the object or array that begins here. @return false, back at its
    // beginning, when there is none.
    bool enter(const JsonStep& step)
    {
        const int begin = m_at;
        const bool isObject = peek() == '{';
        if (!isObject && peek() != '[')
            return false;
        take();
        for (int index = 0; m_at < m_json.size() && peek() != '}' && peek() != ']'; ++index) {
            if (isObject ? takeKey() == step.key : index == step.index && step.key.isEmpty())
                return true;
            skipValue();
            if (peek() == ',')
                take();
        }
        m_at = begin;
        return false;
    }

private:
    char peek() const { return m_at < m_json.size() ? m_json[m_at] : '\0'; }

    void take()
    {
        ++m_at;
        skipSpace();
    }

    void skipSpace()
    {
        while (m_at < m_json.size() && QByteArray(" \t\r\n").contains(m_json[m_at]))
            ++m_at;
    }

    void skipString()
    {
        for (++m_at; m_at < m_json.size() && m_json[m_at] != '"'; ++m_at)
            if (m_json[m_at] == '\\')
                ++m_at;
        take();
    }

    QString takeKey()
    {
        const int begin = m_at;
        skipString();
        const int end = m_json.lastIndexOf('"', m_at - 1) + 1;
        if (peek() == ':')
            take();
        return QJsonDocument::fromJson('[' + m_json.mid(begin, end - begin) + ']').array().at(0).toString();
    }

    void skipValue()
    {
        int depth = 0;
        do {
            const char c = peek();
            if (c == '"') {
                skipString();
                continue;
            }
            depth += c == '{' || c == '[' ? 1 : c == '}' || c == ']' ? -1 : 0;
            take();
        } while (m_at < m_json.size() && (depth > 0 || (peek() != ',' && peek() != '}' && peek() != ']')));
    }

    const QByteArray& m_json;
    int m_at = 0;
};

} // namespace

QString pathText(const JsonPath& path)
{
    QString text;
    for (const JsonStep& step : path) {
        if (step.key.isEmpty())
            text += QString("[%1]").arg(step.index);
        else
            text += (text.isEmpty() ? "" : ".") + step.key;
    }
    return text;
}

int offsetOf(const QByteArray& json, const JsonPath& path)
{
    Walker walker(json);
    for (const JsonStep& step : path)
        if (!walker.enter(step))
            break;
    return walker.at();
}

QString lineAndColumn(const QByteArray& json, int offset)
{
    const QByteArray before = json.left(offset);
    const int lineBegin = before.lastIndexOf('\n') + 1;
    return QString("%1:%2")
        .arg(before.count('\n') + 1)
        .arg(QString::fromUtf8(before.mid(lineBegin)).size() + 1);
}

} // namespace protocol
