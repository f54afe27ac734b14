// An environment variable for as long as a test wants it.

#pragma once

#include <cstdlib>
#include <optional>
#include <string>
#include <utility>

namespace korva::tests {

/// Sets it, or removes it where there is no value, and puts back what was there.
class ScopedVariable {
public:
    ScopedVariable(std::string name, const std::optional<std::string>& value)
        : mName(std::move(name))
    {
        if (const char* before = std::getenv(mName.c_str()))
            mBefore = before;
        Set(value);
    }
    ScopedVariable(const ScopedVariable&) = delete;
    ScopedVariable& operator=(const ScopedVariable&) = delete;
    ~ScopedVariable() { Set(mBefore); }

private:
    void Set(const std::optional<std::string>& value) const
    {
        if (value)
            setenv(mName.c_str(), value->c_str(), 1);
        else
            unsetenv(mName.c_str());
    }

    std::string mName;
    std::optional<std::string> mBefore;
};

} // namespace korva::tests
