// Lists the endpoints that are present now.

#pragma once

#include "kelcore/utility/RefCounted.h"
#include "mediaio/kelmidi/src/MidiHost.h"
#include "mediaio/kelmidi/src/MidiPort.h"
#include "mediaio/kelmidi/src/MidiPortList.h"

#include <boost/intrusive_ptr.hpp>

namespace kelmidi {

using MidiInputPortList = MidiPortList<boost::intrusive_ptr<MidiInputPort>>;
using MidiOutputPortList = MidiPortList<boost::intrusive_ptr<MidiOutputPort>>;

/// Keeps its `MidiHost`. Each listed port is complete and disconnected.
class MidiPortEnumerator : public kelcore::utility::RefCountedObject {
public:
    /// In the service's order. [host, may block]
    virtual MidiInputPortList EnumInputPorts() const = 0;
    /// In the service's order. [host, may block]
    virtual MidiOutputPortList EnumOutputPorts() const = 0;

protected:
    explicit MidiPortEnumerator(const boost::intrusive_ptr<MidiHost>& host)
        : mHost(host)
    {
    }
    ~MidiPortEnumerator() override = default;

private:
    const boost::intrusive_ptr<MidiHost> mHost;
};

/// An enumerator over the service of `host`. [host, may block]
boost::intrusive_ptr<MidiPortEnumerator> MidiPortEnumeratorCreate(
    const boost::intrusive_ptr<MidiHost>& host);

} // namespace kelmidi
