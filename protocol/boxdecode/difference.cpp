#include "difference.h"

#include <algorithm>
#include <string_view>

namespace protocol {

void Difference::add(size_t which, const Item& item)
{
    if (item.isAnswer())
        return;
    const Unit& unit = item.unit;
    const std::string_view text(reinterpret_cast<const char*>(unit.bytes), unit.size);
    m_sequences[which][static_cast<size_t>(item.side)].push_back(
        {item, {unit.bytes, unit.bytes + unit.size}, std::hash<std::string_view>()(text)});
}

size_t Difference::kept(size_t which) const
{
    const auto& sides = m_sequences[which];
    return sides[0].size() + sides[1].size() + sides[2].size();
}

void Difference::compare(bool firstIsOver, bool secondIsOver)
{
    for (size_t side = 0; side < 3; ++side)
        compare(m_sequences[0][side], firstIsOver, m_sequences[1][side], secondIsOver);
}

// Whether the sequences are the same from there on, as far as it takes to be no accident.
bool Difference::goesOn(const Sequence& a, size_t atA, const Sequence& b, size_t atB) const
{
    constexpr size_t Enough = 3;
    size_t same = 0;
    while (same < Enough && atA + same < a.size() && atB + same < b.size() &&
           isSame(a[atA + same], b[atB + same]))
        ++same;
    return same == Enough || (same > 0 && (atA + same == a.size() || atB + same == b.size()));
}

void Difference::compare(Sequence& a, bool aIsOver, Sequence& b, bool bIsOver)
{
    while ((aIsOver || a.size() >= Window) && (bIsOver || b.size() >= Window) && !(a.empty() && b.empty())) {
        if (!a.empty() && !b.empty() && isSame(a.front(), b.front())) {
            a.pop_front();
            b.pop_front();
            ++compared;
            continue;
        }
        size_t countA = std::min(a.size(), Window);
        size_t countB = std::min(b.size(), Window);
        bool isFound = false;
        const auto find = [&](size_t i, size_t j) {
            if (!isFound && goesOn(a, i, b, j)) {
                isFound = true;
                countA = i;
                countB = j;
            }
        };
        for (size_t most = 1; most < Window && !isFound; ++most) {
            for (size_t least = most + 1; least-- > 0;) {
                find(most, least);
                find(least, most);
            }
        }
        show(a, countA, b, countB);
    }
}

// Takes away and shows what differs. Frames of one type are shown by what differs between them.
void Difference::show(Sequence& a, size_t countA, Sequence& b, size_t countB)
{
    for (size_t i = 0; i < std::max(countA, countB); ++i) {
        const Kept* first = i < countA ? &a[i] : nullptr;
        const Kept* second = i < countB ? &b[i] : nullptr;
        if (first && second && isSame(*first, *second)) {
            ++compared;
            continue;
        }
        const bool isPair = first && second && first->item.isFrame() && second->item.isFrame() &&
                            first->bytes[1] == second->bytes[1];
        if (first)
            show('-', *first, isPair ? second : nullptr);
        if (second)
            show('+', *second, isPair ? first : nullptr);
        only[0] += first != nullptr;
        only[1] += second != nullptr;
    }
    a.erase(a.begin(), a.begin() + static_cast<std::ptrdiff_t>(countA));
    b.erase(b.begin(), b.begin() + static_cast<std::ptrdiff_t>(countB));
}

void Difference::show(char sign, const Kept& kept, const Kept* other)
{
    Item item = kept.item;
    item.unit.bytes = kept.bytes.data();
    item.before = other ? other->bytes.data() + 3 : nullptr;
    item.beforeSize = other ? other->bytes.size() - 4 : 0;
    std::string line{sign, ' '};
    m_format.append(line, item);
    m_format.end(line, Answer::None);
    m_output.write(line);
}

} // namespace protocol
