#include "kelcore/proplist/PropListText.h"

#include "kelcore/utility/JsonErrorText.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <cstdint>
#include <vector>

namespace kelcore::proplist::utils {

namespace {

using nlohmann::json;

json ToJson(const PropList& list);

struct ValueToJson {
    json operator()(const utility::UTF16String& text) const { return utility::UTF16to8(text); }
    json operator()(bool value) const { return value; }
    json operator()(const std::unique_ptr<PropList>& list) const { return ToJson(*list); }
};

json ToJson(const PropList& list)
{
    json object = json::object();
    for (const auto& [key, value] : list.GetEntries()) {
        object[key] = std::visit(ValueToJson{}, value);
    }
    return object;
}

// Hands a text to the parser and knows how far the parser has come.
class TextReader {
public:
    using iterator_category = std::input_iterator_tag;
    using value_type = char;
    using difference_type = std::ptrdiff_t;
    using pointer = const char*;
    using reference = const char&;

    TextReader(const char* position, const char** farthest)
        : mPosition(position)
        , mFarthest(farthest)
    {
    }

    reference operator*() const { return *mPosition; }
    TextReader& operator++()
    {
        *mFarthest = ++mPosition;
        return *this;
    }
    bool operator==(const TextReader& other) const { return mPosition == other.mPosition; }
    bool operator!=(const TextReader& other) const { return mPosition != other.mPosition; }

private:
    const char* mPosition;
    const char** mFarthest;
};

std::string PlaceIn(std::string_view text, std::size_t offset)
{
    const std::string_view before = text.substr(0, offset);
    const auto line = std::count(before.begin(), before.end(), '\n') + 1;
    const std::size_t lineStart = before.rfind('\n') + 1; // 0 where there is no line end
    return "line " + std::to_string(line) + ", column " + std::to_string(before.size() - lineStart);
}

// Receives the parser's events and builds the list.
class ListBuilder {
public:
    using number_integer_t = json::number_integer_t;
    using number_unsigned_t = json::number_unsigned_t;
    using number_float_t = json::number_float_t;
    using string_t = json::string_t;
    using binary_t = json::binary_t;

    ListBuilder(std::string_view text, const char* const& farthest)
        : mText(text)
        , mFarthest(farthest)
    {
    }

    PropList TakeList() { return std::move(mRoot); }

    bool null() { return Refuse("null"); }
    bool number_integer(number_integer_t) { return Refuse("a number"); }
    bool number_unsigned(number_unsigned_t) { return Refuse("a number"); }
    bool number_float(number_float_t, const string_t&) { return Refuse("a number"); }
    bool binary(binary_t&) { return Refuse("binary data"); }
    bool start_array(std::size_t) { return Refuse("an array"); }
    bool end_array() { return true; }

    bool boolean(bool value)
    {
        if (mOpenLists.empty()) {
            return Refuse("a boolean");
        }
        mOpenLists.back()->SetBool(mKey, value);
        return true;
    }

    bool string(string_t& value)
    {
        if (mOpenLists.empty()) {
            return Refuse("a string");
        }
        mOpenLists.back()->SetString(mKey, utility::UTF8to16(value));
        return true;
    }

    bool start_object(std::size_t)
    {
        if (mOpenLists.size() == kMaxListDepth) {
            Fail(
                "expected at most " + std::to_string(kMaxListDepth) + " objects inside each other");
        }
        mOpenLists.push_back(mOpenLists.empty() ? &mRoot : &MakeList(*mOpenLists.back()));
        return true;
    }

    bool end_object()
    {
        mOpenLists.pop_back();
        return true;
    }

    bool key(string_t& value)
    {
        mKey = value;
        return true;
    }

    bool parse_error(std::size_t, const std::string&, const json::exception& error)
    {
        if (dynamic_cast<const json::parse_error*>(&error) != nullptr) {
            throw PropListSyntaxError(
                "property list: " + utility::JsonErrorText(error.what())); // names the place
        }
        Fail(utility::JsonErrorText(error.what()));
    }

private:
    // A key that comes again replaces what it held, a list of its own included.
    PropList& MakeList(PropList& parent) const
    {
        parent.SetBool(mKey, false);
        return parent.GetOrCreateList(mKey);
    }

    bool Refuse(const char* found) const
    {
        if (mOpenLists.empty()) {
            Fail(std::string("expected an object, found ") + found);
        }
        Fail("expected a string, a boolean or an object at \"" + mKey + "\", found " + found);
    }

    [[noreturn]] void Fail(const std::string& what) const
    {
        const auto offset = static_cast<std::size_t>(mFarthest - mText.data());
        throw PropListSyntaxError("property list: " + PlaceIn(mText, offset) + ": " + what);
    }

    std::string_view mText;
    const char* const& mFarthest; // into mText
    PropList mRoot;
    std::vector<PropList*> mOpenLists; // from the root to the list being filled
    std::string mKey;
};

} // namespace

std::string WritePropList(const PropList& list)
{
    // A key that is not UTF-8 is written with U+FFFD in place of what is broken.
    return ToJson(list).dump(-1, ' ', false, json::error_handler_t::replace);
}

void ReadPropList(PropList& list, std::string_view text)
{
    text = text.substr(0, text.find('\0'));
    if (text.empty()) {
        list.Clear();
        return;
    }
    const char* farthest = text.data();
    ListBuilder builder(text, farthest);
    json::sax_parse(TextReader(text.data(), &farthest),
        TextReader(text.data() + text.size(), &farthest), &builder);
    list = builder.TakeList();
}

} // namespace kelcore::proplist::utils
