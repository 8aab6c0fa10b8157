#include "selection.h"

#include <algorithm>
#include <cstdlib>

namespace protocol {

namespace {

// The types of the frames that @p name means.
std::bitset<256> typesOf(const std::string& name, const Description& description)
{
    std::bitset<256> types;
    for (const Frame& frame : description.frames()) {
        const bool isField =
            std::any_of(frame.fields.begin(), frame.fields.end(), [&name](const Field& field) {
                return field.path == name || field.path.substr(0, field.path.find('.')) == name;
            });
        if (frame.name == name || frame.group == name || isField)
            types.set(static_cast<size_t>(frame.type));
    }
    return types;
}

// The type that @p text tells in hexadecimal, as in 24 or 0x24; -1 where it tells none.
int typeOf(const std::string& text)
{
    char* end = nullptr;
    const unsigned long type = std::strtoul(text.c_str(), &end, 16);
    return !text.empty() && std::isxdigit(static_cast<unsigned char>(text[0])) && *end == '\0' && type <= 0xFF
               ? static_cast<int>(type)
               : -1;
}

} // namespace

std::string Selection::add(const std::string& filter, const Description& description)
{
    for (size_t begin = 0; begin <= filter.size();) {
        const size_t end = std::min(filter.find(',', begin), filter.size());
        std::string word = filter.substr(begin, end - begin);
        word.erase(std::remove(word.begin(), word.end(), ' '), word.end());
        begin = end + 1;
        Term term;
        term.isNegated = word[0] == '!';
        word.erase(0, term.isNegated);
        if (word == "rx" || word == "tx") {
            term.what = word == "rx" ? Term::RxSide : Term::TxSide;
        } else if (word == "bad" || word == "ack") {
            term.what = word == "bad" ? Term::Bad : Term::Answers;
        } else if (word == "unknown") {
            for (size_t type = 0; type < term.types.size(); ++type)
                term.types[type] = !description.frame(static_cast<uint8_t>(type));
        } else if (term.types = typesOf(word, description); term.types.none()) {
            if (typeOf(word) < 0)
                return word;
            term.types.set(static_cast<size_t>(typeOf(word)));
        }
        m_hasPositive = m_hasPositive || !term.isNegated;
        m_terms.push_back(term);
    }
    return {};
}

bool Selection::Term::matches(const Item& item) const
{
    switch (what) {
    case RxSide:
        return item.side == Side::Rx;
    case TxSide:
        return item.side == Side::Tx;
    case Bad:
        return item.isProblem();
    case Answers:
        return item.isAnswer();
    case Types:
        break;
    }
    return item.hasType() && types[item.unit.type()];
}

bool Selection::passes(const Item& item) const
{
    bool isNamed = !m_hasPositive;
    for (const Term& term : m_terms) {
        if (!term.matches(item))
            continue;
        if (term.isNegated)
            return false;
        isNamed = true;
    }
    return isNamed;
}

bool Selection::wants(const Item& item) const
{
    return (!item.isTimed() || (item.unit.time >= from && item.unit.time <= to)) && passes(item);
}

bool Selection::wantsType(const Frame& frame) const
{
    const uint8_t bytes[] = {0x2E, static_cast<uint8_t>(frame.type), 0, 0};
    Item item{};
    item.unit = {UnitKind::Frame, bytes, sizeof bytes, 0, 0, 0};
    item.side = frame.direction == Direction::FromBox ? Side::Rx : Side::Tx;
    item.frame = &frame;
    return passes(item);
}

} // namespace protocol
