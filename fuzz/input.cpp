// What boxdecode reads, of any kind: all bytes that it takes from the input are in units, each of which is
// written as text that can be printed and as JSON that can be read, from a payload that nothing lies behind.

#include "packets.h"
#include "session.h"
#include "statistics.h"

#include <QJsonDocument>
#include <QTextCodec>

#include <fcntl.h>

using namespace protocol;

namespace {

void checkText(const std::string& text)
{
    QTextCodec::ConverterState state;
    const QString read =
        QTextCodec::codecForName("UTF-8")->toUnicode(text.data(), static_cast<int>(text.size()), &state);
    for (const uint c : read.chopped(1).toUcs4()) {
        if (!QChar::isPrint(c) || state.invalidChars != 0)
            qFatal("wrong text: %s", text.c_str());
    }
}

int nowhere()
{
    static const int file = open("/dev/null", O_WRONLY | O_CLOEXEC);
    return file;
}

// Sends all formats what an input holds.
class Formats : public InputSink
{
public:
    void take(const Chunk& chunk) override
    {
        m_taken += chunk.size;
        m_stream.take(chunk);
    }
    void takeHeader(std::string_view line) override { m_pcapng.takeHeader(line); }
    void refuse(uint64_t, std::string_view text, const char*) override
    {
        std::string quoted;
        appendQuoted(quoted, text);
        checkText(quoted + '\n');
    }
    void guess(const char*) override {}
    void finish()
    {
        m_stream.finish();
        m_lines.finish();
        m_statistics.finish();
        if (m_taken != m_shown)
            qFatal("wrong number of bytes: %zu of %zu", m_shown, m_taken);
    }

private:
    void show(Item item)
    {
        m_shown += item.unit.size;
        const std::vector<uint8_t> bytes(item.unit.bytes, item.unit.bytes + item.unit.size);
        item.unit.bytes = bytes.data();
        std::string text;
        m_text.append(text, item);
        m_text.end(text, Answer::Rejected);
        checkText(text);
        std::string json;
        m_json.append(json, item);
        m_json.end(json, Answer::None);
        if (!QJsonDocument::fromJson(QByteArray::fromStdString(json)).isObject())
            qFatal("wrong JSON: %s", json.c_str());
        m_lines.take(item, true);
        m_candump.take(item, true);
        m_pcapng.take(item, true);
        m_statistics.take(item, true);
    }

    const Description& m_description = Description::standard();
    Stream m_stream{m_description, [this](const Item& item) { show(item); }};
    TextFormat m_text{m_description, true, false};
    JsonFormat m_json{m_description, false};
    Output m_output{nowhere()};
    LineWriter m_lines{m_json, m_output};
    CandumpWriter m_candump{m_output};
    PcapngWriter m_pcapng{m_output};
    Statistics m_statistics{m_output};
    size_t m_taken = 0;
    size_t m_shown = 0;
};

} // namespace

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    Formats formats;
    InputReader reader(InputKind::ByContent, Description::standard(), formats);
    const char* bytes = reinterpret_cast<const char*>(data);
    const size_t half = size > 0 ? data[size - 1] % size : 0;
    reader.feed(bytes, half);
    reader.feed(bytes + half, size - half);
    reader.finish();
    formats.finish();
    return 0;
}
