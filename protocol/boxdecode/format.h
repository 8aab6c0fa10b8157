#pragma once

#include "selection.h"
#include "stream.h"
#include "text.h"

#include <string>

namespace protocol {

/// What the other side said to a frame.
enum class Answer : uint8_t { None, Acknowledged, Rejected };

/// How units are written, one a line.
class Format
{
public:
    explicit Format(const Description& description)
        : m_description(description)
        , m_decoder(description)
    {
    }
    virtual ~Format() = default;

    /// From now on the fields are those of the car model with that id.
    void setCarModel(int id) { m_decoder = Decoder(m_description, id); }

    /// Appends what stands above all lines.
    virtual void begin(std::string&) const {}
    /// Appends the line of @p item up to where its answer is told.
    virtual void append(std::string& out, const Item& item) = 0;
    /// Appends @p answer and the line's end.
    virtual void end(std::string& out, Answer answer) const = 0;

protected:
    /// The values of the fields of @p item: all, or those that may read differently than before.
    const std::vector<Value>& valuesOf(const Item& item, bool all);

    const Description& m_description;

private:
    Decoder m_decoder;
    std::vector<Value> m_values;
};

/// For people.
class TextFormat : public Format
{
public:
    TextFormat(const Description& description, bool all, bool coloured)
        : Format(description)
        , m_all(all)
        , m_coloured(coloured)
    {
    }
    void append(std::string& out, const Item& item) override;
    void end(std::string& out, Answer answer) const override;

private:
    void appendMarked(std::string& out, const Item& item) const;

    bool m_all;
    bool m_coloured;
};

/// One JSON object a line; see docs/boxdecode.md.
class JsonFormat : public Format
{
public:
    JsonFormat(const Description& description, bool all)
        : Format(description)
        , m_all(all)
    {
    }
    void append(std::string& out, const Item& item) override;
    void end(std::string& out, Answer answer) const override;

private:
    bool m_all;
};

/// For a spreadsheet: a column for each field of the frames that @p selection lets pass.
class CsvFormat : public Format
{
public:
    CsvFormat(const Description& description, const Selection& selection);
    void begin(std::string& out) const override;
    void append(std::string& out, const Item& item) override;
    void end(std::string& out, Answer answer) const override;

private:
    struct Cell
    {
        size_t column;
        size_t field;
    };

    std::vector<Text> m_columns;
    std::array<std::vector<Cell>, 256> m_cells; // of each type, by column
};

/// Appends @p time, in microseconds, as seconds: 0.485000.
void appendSeconds(std::string& out, int64_t time);

} // namespace protocol
