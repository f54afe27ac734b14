// Lists and finds the endpoints of CoreMIDI's C interface.

#pragma once

#include "mediaio/kelmidi/src/MidiPortEnumerator.h"
#include "mediaio/kelmidi/src/mac/OS_MidiHost_MAC.h"

namespace kelmidi {

class OS_MidiPortEnumerator final : public MidiPortEnumerator {
public:
    /// With a host of another class, or none, every list is empty.
    explicit OS_MidiPortEnumerator(const boost::intrusive_ptr<MidiHost>& host);

    MidiInputPortList EnumInputPorts() const override;
    MidiOutputPortList EnumOutputPorts() const override;

private:
    ~OS_MidiPortEnumerator() override = default;

    const boost::intrusive_ptr<OS_MidiHost> mOSHost;
};

} // namespace kelmidi
