#pragma once

#include "capture.h"
#include "deviceline.h"

/// What is left out for a while: told when it begins and, with how much it was, when it is over.
class Gap
{
public:
    /// @p end has %1 in the place of the number.
    Gap(QString begin, QString end)
        : m_begin(std::move(begin))
        , m_end(std::move(end))
    {
    }
    void add(int count);
    void end();

private:
    const QString m_begin;
    const QString m_end;
    qint64 m_count = 0;
};

/// Stands between a head unit and a CAN box on two serial devices: what comes from one goes out at the other
/// at once, and whoever is slow to look on does not hold it up. A device that is away is told and tried
/// again, and what is meant for it meanwhile is dropped.
class Tap : public QObject
{
    Q_OBJECT

public:
    /// @p capture is what is recorded: what was handed on, as the head unit sees it.
    Tap(const QString& headUnit, const QString& box, CaptureOptions capture);
    ~Tap() override;

    /// Begins to record and to hand on. @return whether what is recorded can be written; why not is told.
    bool start();
    /// Goes on in a new record, if there is one at all.
    void recordAnew();
    /// Ends both, and the lines of output().
    void stop();

    /// Where the lines of a capture can be read that tell what was handed on: a pipe's end, whose owner is
    /// the caller. Lines that its reader leaves waiting for too long are left out.
    int output() const { return m_output; }
    /// Whether all could be recorded that was to be.
    bool isIntact() const { return m_options.path.isEmpty() || m_capture.isOpen(); }

signals:
    /// The record can no longer be written.
    void failed();

private:
    void carry(const QString& what, const QByteArray& bytes, DeviceLine& receiver, Gap& dropped);
    void tell(const QString& what, const QByteArray& bytes, std::chrono::nanoseconds time);
    void show(const QString& text);

    const CaptureOptions m_options;
    Capture m_capture;
    DeviceLine m_headUnit;
    DeviceLine m_box;
    Gap m_droppedForHeadUnit;
    Gap m_droppedForBox;
    Gap m_unseen;
    const std::chrono::nanoseconds m_begin = now();
    int m_output = -1;
    int m_lines = -1; // the end that is written
};
