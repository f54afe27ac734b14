# The configuration dialog, on the host's toolkit. Its layout is resources/MMCMIDIConfig.ui.

add_library(mmc_dialog STATIC src/MMCConfigDialog.cpp)
target_link_libraries(mmc_dialog PUBLIC project_options kelcontrolsurface_midi_dialog)
