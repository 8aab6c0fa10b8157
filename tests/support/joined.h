#pragma once

#include "box.h"
#include "recordinghost.h"
#include "statement.h"
#include "virtualclock.h"
#include "wire.h"
#include "workbench.h"

#include <sstream>

/// Both ends of the line in one process and in virtual time: the cores of canbench, with the loaded plug-in
/// on the recording host, and of boxsim, joined by wires. The plug-in is fresh and not started.
class Joined
{
public:
    explicit Joined(bool json = false);
    ~Joined();
    Q_DISABLE_COPY(Joined)

    /// Runs a statement of boxsim's language.
    void tell(const QString& statement) { boxsim::parse(statement).run(simulation); }

    /// Starts the plug-in and runs canbench's commands. @return the exit code that they ask for.
    int run(const QByteArray& script);

    QStringList lines; ///< what canbench shows, and "box: " and what boxsim shows
    boxsim::Box box;
    boxsim::Simulation simulation{box};
    Workbench& bench() { return *m_bench; }
    Report& report() { return m_report; }
    QString told() const { return QString::fromStdString(m_told.str()); } ///< on standard error

private:
    Wire m_toBox;
    Wire m_toHeadUnit;
    Report m_report;
    std::unique_ptr<Workbench> m_bench;
    std::ostringstream m_told;
    std::streambuf* m_standardError;
};
