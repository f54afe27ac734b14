#include "kelcore/proplist/PropList.h"

#include <algorithm>
#include <utility>

namespace kelcore::proplist {

namespace {

using Value = PropList::Value;
using List = std::unique_ptr<PropList>;

Value CopyOf(const Value& value)
{
    if (const auto* text = std::get_if<utility::UTF16String>(&value)) {
        return *text;
    }
    if (const auto* list = std::get_if<List>(&value)) {
        return std::make_unique<PropList>(**list);
    }
    return std::get<bool>(value);
}

bool AreEqual(const Value& left, const Value& right)
{
    const auto* const list = std::get_if<List>(&left);
    const auto* const otherList = std::get_if<List>(&right);
    if (list != nullptr && otherList != nullptr) {
        return **list == **otherList;
    }
    return left == right;
}

// Copies the value at `key` where it is of this kind.
template <typename T>
bool GetValue(const PropList::Entries& entries, const std::string& key, T& value)
{
    const auto entry = entries.find(key);
    const T* const found = entry == entries.end() ? nullptr : std::get_if<T>(&entry->second);
    if (found != nullptr) {
        value = *found;
    }
    return found != nullptr;
}

} // namespace

PropList::PropList() = default;
PropList::PropList(PropList&& other) noexcept = default;
PropList::~PropList() = default;

PropList::PropList(const PropList& other)
{
    for (const auto& [key, value] : other.mEntries) {
        mEntries.emplace_hint(mEntries.end(), key, CopyOf(value));
    }
}

PropList& PropList::operator=(const PropList& other)
{
    PropList copy(other);
    mEntries.swap(copy.mEntries);
    return *this;
}

// By way of a third list, because `other` may be a sub-list of this one.
PropList& PropList::operator=(PropList&& other) noexcept
{
    PropList moved(std::move(other));
    mEntries.swap(moved.mEntries);
    return *this;
}

bool PropList::operator==(const PropList& other) const
{
    return std::equal(mEntries.begin(), mEntries.end(), other.mEntries.begin(),
        other.mEntries.end(), [](const auto& left, const auto& right) {
            return left.first == right.first && AreEqual(left.second, right.second);
        });
}

void PropList::SetString(const std::string& key, const utility::UTF16String& value)
{
    mEntries.insert_or_assign(key, Value(value));
}

void PropList::SetBool(const std::string& key, bool value)
{
    mEntries.insert_or_assign(key, Value(value));
}

bool PropList::GetString(const std::string& key, utility::UTF16String& value) const
{
    return GetValue(mEntries, key, value);
}

bool PropList::GetBool(const std::string& key, bool& value) const
{
    return GetValue(mEntries, key, value);
}

PropList* PropList::FindList(const std::string& key)
{
    return const_cast<PropList*>(std::as_const(*this).FindList(key));
}

const PropList* PropList::FindList(const std::string& key) const
{
    const auto entry = mEntries.find(key);
    const auto* const list = entry == mEntries.end() ? nullptr : std::get_if<List>(&entry->second);
    return list != nullptr ? list->get() : nullptr;
}

PropList& PropList::GetOrCreateList(const std::string& key)
{
    if (PropList* const list = FindList(key)) {
        return *list;
    }
    auto made = std::make_unique<PropList>();
    PropList& list = *made;
    mEntries.insert_or_assign(key, Value(std::move(made)));
    return list;
}

bool PropList::IsEmpty() const
{
    return mEntries.empty();
}

void PropList::Clear()
{
    mEntries.clear();
}

} // namespace kelcore::proplist
