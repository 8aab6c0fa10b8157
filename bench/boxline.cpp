#include "boxline.h"

BoxLine::BoxLine()
    : m_simulation{m_box, [this](const QString& text) { emit said(text); }}
{
    connect(&m_toBox, &Wire::received, &m_box, &boxsim::Box::receive);
    connect(&m_box, &boxsim::Box::chunkReady, &m_toHeadUnit, &Wire::send);
    connect(&m_toHeadUnit, &Wire::received, this, [this](const QByteArray& chunk) {
        if (m_isOpen)
            emit received(chunk);
    });
    connect(&m_box, &boxsim::Box::asked, this, &BoxLine::said);
    connect(&m_box, &boxsim::Box::hit, this, &BoxLine::hit);
}

bool BoxLine::open(const QString&, int)
{
    m_isOpen = true;
    return true;
}

int BoxLine::write(const QByteArray& data)
{
    if (!m_isOpen)
        return -1;
    m_toBox.send(data);
    return data.size();
}
