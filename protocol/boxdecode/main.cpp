#include "dbc.h"
#include "difference.h"
#include "dissector.h"
#include "note.h"
#include "options.h"
#include "packets.h"
#include "process.h"
#include "source.h"
#include "statistics.h"
#include "tap.h"

#include <QCoreApplication>
#include <QSocketNotifier>

#include <cerrno>
#include <charconv>
#include <csignal>
#include <cstring>
#include <thread>
#include <unistd.h>

using namespace protocol;

namespace {

// The car model that a line of a capture's header tells.
std::optional<int> carModelOf(std::string_view line)
{
    constexpr std::string_view Key = "car model: ";
    if (line.substr(0, Key.size()) != Key)
        return {};
    int id = 0;
    const auto result = std::from_chars(line.data() + Key.size(), line.data() + line.size(), id);
    return result.ec == std::errc() ? std::optional(id) : std::nullopt;
}

// How far a file has been read, on a terminal that shows nothing else.
void showProgress(const Source& source)
{
    if (source.percent() >= 0 && wantsProgress() && isatty(STDOUT_FILENO) == 0)
        showProgress(QString("%1: %2 %").arg(QString::fromStdString(source.name())).arg(source.percent()));
}

void note(const std::string& text)
{
    ::note(QString::fromStdString(text));
}

class Program
{
public:
    explicit Program(Options options);
    int run();

private:
    std::unique_ptr<Consumer> makeConsumer();
    std::unique_ptr<Format> makeFormat() const;
    std::unique_ptr<Source> open(const Options::Input& input, size_t number);
    bool read(Source& source);
    void compare(Source& first, Source& second);
    void takeHeader(std::string_view line);
    void take(const Item& item, size_t input);
    int end(const std::vector<std::unique_ptr<Source>>& sources);

    Options m_options;
    const Description& m_description;
    Output m_output{STDOUT_FILENO};
    std::unique_ptr<Format> m_format;
    std::unique_ptr<Consumer> m_consumer;     // nothing with --diff
    std::unique_ptr<Difference> m_difference; // only with it
    int m_signals;                            // none where the inputs end with them
    bool m_isOver = false;
    int m_code = CleanEnd;
};

Program::Program(Options options)
    : m_options(std::move(options))
    , m_description(m_options.description ? *m_options.description : Description::standard())
    , m_format(makeFormat())
    , m_signals(m_options.tap.isEmpty() ? takeOverSignals(endSignals) : -1)
{
    if (m_options.output == Options::Diff)
        m_difference = std::make_unique<Difference>(static_cast<TextFormat&>(*m_format), m_output);
    else
        m_consumer = makeConsumer();
    if (m_options.carModel)
        m_format->setCarModel(*m_options.carModel);
}

std::unique_ptr<Format> Program::makeFormat() const
{
    if (m_options.output == Options::Json)
        return std::make_unique<JsonFormat>(m_description, m_options.all);
    if (m_options.output == Options::Csv)
        return std::make_unique<CsvFormat>(m_description, m_options.selection);
    return std::make_unique<TextFormat>(m_description, m_options.all, m_options.coloured);
}

std::unique_ptr<Consumer> Program::makeConsumer()
{
    switch (m_options.output) {
    case Options::Candump:
        return std::make_unique<CandumpWriter>(m_output);
    case Options::Pcapng:
        return std::make_unique<PcapngWriter>(m_output);
    case Options::Stats:
        return std::make_unique<Statistics>(m_output);
    default:
        return std::make_unique<LineWriter>(*m_format, m_output);
    }
}

void Program::takeHeader(std::string_view line)
{
    const std::optional<int> carModel = carModelOf(line);
    if (carModel && !m_options.carModel)
        m_format->setCarModel(*carModel);
    if (m_consumer)
        m_consumer->takeHeader(line);
}

void Program::take(const Item& item, size_t input)
{
    const bool wants = m_options.count > 0 && m_options.selection.wants(item);
    if (m_difference && wants)
        m_difference->add(input, item);
    else if (m_consumer && m_consumer->take(item, wants))
        m_isOver = --m_options.count == 0;
    constexpr int64_t Second = 1'000'000; // for answers
    if (item.isTimed() && item.unit.time - Second > m_options.selection.to)
        m_isOver = true;
}

std::unique_ptr<Source> Program::open(const Options::Input& input, size_t number)
{
    const bool isStandard = input.path == "-";
    const std::string name = isStandard              ? "standard input"
                             : input.descriptor >= 0 ? "the line"
                             : input.path.isEmpty()  ? "--hex"
                                                     : input.path.toStdString();
    Source::Listener listener{[this, number](const Item& item) { take(item, number); },
                              [this](std::string_view line) { takeHeader(line); },
                              [](const std::string& text) { note(text); }};
    auto source = std::make_unique<Source>(name, input.kind, m_description, std::move(listener));
    source->give(input.bytes);
    if (input.descriptor >= 0)
        source->use(input.descriptor);
    if (input.path.isEmpty())
        return source;
    if (const int error = source->open(input.path.toLocal8Bit().toStdString())) {
        note("cannot read " + name + ": " + std::strerror(error));
        m_code = BadArguments;
    }
    return source;
}

// Reads what comes next. @return whether more may come
bool Program::read(Source& source)
{
    switch (source.read(m_signals)) {
    case Source::Data:
        showProgress(source);
        return true;
    case Source::Silence:
        source.settle();
        if (m_consumer)
            m_consumer->settle();
        [[fallthrough]];
    case Source::Pause:
        m_output.flush();
        return true;
    case Source::Interrupted:
        m_isOver = true;
        return false;
    case Source::Failed:
        note("cannot read " + source.name() + ": " + std::strerror(errno));
        m_code = BadArguments;
        return false;
    case Source::End:
        return false;
    }
    return false;
}

// Reads both in step, so that little of either is kept.
void Program::compare(Source& first, Source& second)
{
    constexpr size_t MostKept = 1 << 17; // a direction that only one of them has must not grow for ever
    bool isOver[] = {false, false};
    while (!(isOver[0] && isOver[1]) && !m_isOver && m_output.error() == 0) {
        const bool next = isOver[0] || (!isOver[1] && m_difference->kept(1) < m_difference->kept(0));
        isOver[next] = !read(next ? second : first);
        const bool isFull = m_difference->kept(0) + m_difference->kept(1) > MostKept;
        m_difference->compare(isFull || isOver[0], isFull || isOver[1]);
    }
    note("units that are the same: " + std::to_string(m_difference->compared) +
         ", only in the first: " + std::to_string(m_difference->only[0]) +
         ", only in the second: " + std::to_string(m_difference->only[1]));
}

int Program::run()
{
    std::vector<std::unique_ptr<Source>> sources;
    if (m_options.output == Options::Dbc)
        m_output.write(writeDbc(m_description, m_options.carModel.value_or(Decoder::NoCarModel)));
    else if (m_options.output == Options::Dissector)
        m_output.write(writeDissector(m_description));
    for (const Options::Input& input : m_options.inputs)
        sources.push_back(open(input, sources.size()));
    if (m_code != CleanEnd)
        return m_code;
    if (m_difference) {
        compare(*sources[0], *sources[1]);
    } else {
        for (const std::unique_ptr<Source>& source : sources) {
            while (!m_isOver && m_output.error() == 0 && read(*source)) {
            }
        }
        m_consumer->finish();
    }
    return end(sources);
}

int Program::end(const std::vector<std::unique_ptr<Source>>& sources)
{
    m_output.flush();
    clearProgress();
    for (const std::unique_ptr<Source>& source : sources) {
        if (const std::string text = source->problems.text(); !text.empty())
            note(source->name() + ": " + text);
    }
    if (m_output.error() == 0)
        return m_code;
    note(std::string("cannot write standard output: ") + std::strerror(m_output.error()));
    return CannotWrite;
}

// Shows what crosses a tap, by a thread of its own: writing may take its time, what crosses may not.
int runTap(Options options)
{
    Tap tap(options.tap[0], options.tap[1], options.record);
    options.inputs.push_back({InputKind::Capture, {}, {}, tap.output()});
    const QSocketNotifier ending(takeOverSignals(endSignals), QSocketNotifier::Read);
    QObject::connect(&ending, &QSocketNotifier::activated, qApp, &QCoreApplication::quit);
    const QSocketNotifier rotation(takeOverSignals({SIGUSR1}), QSocketNotifier::Read);
    QObject::connect(&rotation, &QSocketNotifier::activated, &tap, [&tap](int descriptor) {
        takeSignal(descriptor);
        tap.recordAnew();
    });
    QObject::connect(&tap, &Tap::failed, qApp, &QCoreApplication::quit);
    if (!tap.start())
        return BadArguments;
    Program program(std::move(options));
    int code = CleanEnd;
    std::thread view([&] {
        code = program.run();
        QMetaObject::invokeMethod(qApp, &QCoreApplication::quit, Qt::QueuedConnection);
    });
    QCoreApplication::exec();
    tap.stop();
    view.join();
    return tap.isIntact() ? code : CannotWrite;
}

} // namespace

int main(int argc, char* argv[])
{
    prepareStandardStreams();
    QCoreApplication application(argc, argv);
    QCoreApplication::setApplicationName("boxdecode");
    QCoreApplication::setApplicationVersion(BOXDECODE_VERSION);
    Options options = readOptions(QCoreApplication::arguments());
    return options.tap.isEmpty() ? Program(std::move(options)).run() : runTap(std::move(options));
}
