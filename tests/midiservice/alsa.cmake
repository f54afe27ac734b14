# Apart from the other tests of the service, because scripts/check-vm runs them under a kernel
# that has a sequencer.
korva_add_tests(midiservice_alsa_tests
    alsa/AlsaDriverTest.cpp
    alsa/AlsaHotPlugTest.cpp
    alsa/EventCodecTest.cpp
    alsa/HardwareIdentityTest.cpp
    alsa/LatencyTest.cpp
    alsa/LinksTest.cpp
    alsa/PortTableTest.cpp
    alsa/Studio.cpp
    alsa/SysExGuardTest.cpp)
target_sources(midiservice_tests PRIVATE alsa/AlsaWorld.cpp)
target_link_libraries(midiservice_alsa_tests PRIVATE midiservice_core)
target_compile_definitions(midiservice_alsa_tests PRIVATE
    KORVA_SCRIPTS="${PROJECT_SOURCE_DIR}/scripts")
