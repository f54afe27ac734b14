#include "mediaio/kelmidi/src/MidiHost.h"

#include <boost/thread/lock_types.hpp>

namespace kelmidi {

void MidiHost::SetMidiSetupChangedFunction(const boost::function<void()>& function)
{
    boost::function<void()> replacement(function);
    const boost::unique_lock<boost::recursive_mutex> lock(mMutex);
    mSetupChangedFunction.swap(replacement);
}

void MidiHost::NotifyMidiSetupChanged()
{
    const boost::unique_lock<boost::recursive_mutex> lock(mMutex);
    // A copy, which outlives the function's replacing itself.
    const boost::function<void()> function(mSetupChangedFunction);
    if (function) {
        function();
    }
}

} // namespace kelmidi
