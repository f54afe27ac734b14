// What CoreFoundation's references point to.

#pragma once

#include <CoreFoundation/CoreFoundation.h>

#include <atomic>
#include <memory>
#include <string>
#include <string_view>

namespace midiservice {

/// Counts its owners. Objects that live as long as the process have no count.
class FoundationObject {
public:
    enum class Lifetime : bool { Counted, Process };

    constexpr explicit FoundationObject(Lifetime lifetime) noexcept
        : mIsCounted(lifetime == Lifetime::Counted)
    {
    }
    FoundationObject(const FoundationObject&) = delete;
    FoundationObject& operator=(const FoundationObject&) = delete;
    virtual ~FoundationObject() = default;

    /// [any thread]
    void Retain() const noexcept
    {
        if (mIsCounted)
            mOwners.fetch_add(1);
    }

    void Release() const noexcept
    {
        if (mIsCounted && mOwners.fetch_sub(1) == 1)
            delete this;
    }

private:
    mutable std::atomic<int> mOwners{1};
    const bool mIsCounted;
};

} // namespace midiservice

struct __CFString final : midiservice::FoundationObject {
    /// Of constant text.
    constexpr explicit __CFString(std::u16string_view constant) noexcept
        : FoundationObject(Lifetime::Process)
        , text(constant)
    {
    }

    explicit __CFString(std::unique_ptr<std::u16string> owned)
        : FoundationObject(Lifetime::Counted)
        , storage(std::move(owned))
        , text(*storage)
    {
    }

    std::unique_ptr<const std::u16string> storage;
    std::u16string_view text;
};

struct __CFURL final : midiservice::FoundationObject {
    explicit __CFURL(std::string fileSystemPath)
        : FoundationObject(Lifetime::Counted)
        , path(std::move(fileSystemPath))
    {
    }

    std::string path; // in the file system's bytes
};

struct __CFBundle final : midiservice::FoundationObject {
    explicit __CFBundle(std::string bundlePath)
        : FoundationObject(Lifetime::Process)
        , path(std::move(bundlePath))
    {
    }

    std::string path; // the directory that holds Contents
};

namespace midiservice {

/// Broken UTF-8 becomes U+FFFD, an unpaired surrogate too.
std::u16string ToUTF16(std::string_view utf8);
std::string ToUTF8(std::u16string_view utf16);

/// The caller releases it.
CFStringRef MakeString(std::string_view utf8);
std::string ToUTF8(CFStringRef string);

} // namespace midiservice
