// The ports that an enumerator found.

#pragma once

#include "kelcore/utility/UTF16String.h"

#include <map>
#include <utility>
#include <vector>

namespace kelmidi {

/// `T` is an intrusive pointer to a kind of port. Ports stand in the order in which they were
/// added, no unique ID twice.
template <typename T> class MidiPortList {
public:
    MidiPortList() = default;
    MidiPortList(const MidiPortList&) = default;
    MidiPortList& operator=(const MidiPortList&) = default;
    MidiPortList(MidiPortList&& other) noexcept { *this = std::move(other); }
    /// Leaves `other` empty.
    MidiPortList& operator=(MidiPortList&& other) noexcept
    {
        mPorts = std::exchange(other.mPorts, {});
        mPortsByID = std::exchange(other.mPortsByID, {});
        mLabel = std::exchange(other.mLabel, {});
        return *this;
    }
    ~MidiPortList() = default;

    /// A null port is ignored; so is one whose unique ID is in the list already.
    void AddPort(const T& port)
    {
        if (!port || mPortsByID.count(port->GetUniqueID()) != 0) {
            return;
        }
        mPorts.push_back(port);
        mPortsByID.emplace(port->GetUniqueID(), port);
    }

    const std::vector<T>& GetPorts() const { return mPorts; }

    /// By UTF-16 code units of the unique ID.
    const std::map<kelcore::utility::UTF16String, T>& GetPortsByID() const { return mPortsByID; }

    /// Empty for the lists that enumeration makes.
    const kelcore::utility::UTF16String& GetLabel() const { return mLabel; }
    void SetLabel(const kelcore::utility::UTF16String& label) { mLabel = label; }

private:
    std::vector<T> mPorts;
    std::map<kelcore::utility::UTF16String, T> mPortsByID;
    kelcore::utility::UTF16String mLabel;
};

} // namespace kelmidi
