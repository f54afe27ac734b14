// Whether a JACK server answers, asked without libjack: opening a client of JACK 2 while its
// server is not there or just starting can crash the process (in the metadata's data base,
// which client and server then create at once), and takes down other clients of the process.

#pragma once

namespace midiservice {

/// False when the server that JACK_DEFAULT_SERVER names certainly is not there. True as well
/// where the installed JACK is another implementation, which can be asked by opening a client.
/// [host]
bool MayJackServerBeThere();

} // namespace midiservice
