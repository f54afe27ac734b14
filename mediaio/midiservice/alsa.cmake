# The driver for ALSA's sequencer.

find_package(PkgConfig REQUIRED)
pkg_check_modules(ALSA REQUIRED IMPORTED_TARGET alsa)
pkg_check_modules(UDEV REQUIRED IMPORTED_TARGET libudev)

target_sources(midiservice_core PRIVATE
    src/HardwareIdentity.cpp
    src/alsa/AlsaDriver.cpp
    src/alsa/CardFacts.cpp
    src/alsa/ClientPool.cpp
    src/alsa/EventCodec.cpp
    src/alsa/PortScan.cpp
    src/alsa/PortTable.cpp
    src/alsa/Sequencer.cpp)
target_link_libraries(midiservice_core PUBLIC PkgConfig::ALSA PkgConfig::UDEV)
