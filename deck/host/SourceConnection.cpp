#include "deck/host/SourceConnection.h"

namespace deck::host {

bool SourceConnection::Follow(MIDIUniqueID id, const std::function<void()>& whileApart)
{
    const MIDIEndpointRef source = FindEndpoint(id, PortDirection::Source).value_or(0);
    if (source == mSource) {
        return false;
    }
    if (mSource != 0) {
        MIDIPortDisconnectSource(mPort, mSource);
    }
    whileApart();
    mSource = source;
    if (mSource != 0) {
        MIDIPortConnectSource(mPort, mSource, mContext);
    }
    return true;
}

} // namespace deck::host
