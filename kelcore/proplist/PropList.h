// Settings as a tree: strings, booleans and sub-lists by key.

#pragma once

#include "kelcore/utility/UTF16String.h"

#include <map>
#include <memory>
#include <string>
#include <variant>

namespace kelcore::proplist {

/// A value type; keys are UTF-8. Not safe for use by two threads at once. Every operation that
/// fails leaves the list as it was.
class PropList {
public:
    PropList();
    PropList(const PropList& other);
    PropList(PropList&& other) noexcept;
    PropList& operator=(const PropList& other);
    PropList& operator=(PropList&& other) noexcept;
    ~PropList();

    bool operator==(const PropList& other) const;

    /// Sets or replaces, whatever kind of value stood at `key`.
    void SetString(const std::string& key, const utility::UTF16String& value);
    void SetBool(const std::string& key, bool value);

    /// Where `key` holds a value of this kind: writes it and returns true. Otherwise leaves
    /// `value` as it is.
    bool GetString(const std::string& key, utility::UTF16String& value) const;
    bool GetBool(const std::string& key, bool& value) const;

    /// The sub-list at `key`, or null where there is none. Valid until the entry is replaced or
    /// the list changes hands.
    PropList* FindList(const std::string& key);
    const PropList* FindList(const std::string& key) const;

    /// The sub-list at `key`; an empty one is made where there is none (replacing a value of
    /// another kind).
    PropList& GetOrCreateList(const std::string& key);

    bool IsEmpty() const;
    void Clear();

    /// One entry of the list: a string, a boolean or a sub-list.
    using Value = std::variant<utility::UTF16String, bool, std::unique_ptr<PropList>>;
    using Entries = std::map<std::string, Value>;
    const Entries& GetEntries() const { return mEntries; }

private:
    Entries mEntries;
};

} // namespace kelcore::proplist
