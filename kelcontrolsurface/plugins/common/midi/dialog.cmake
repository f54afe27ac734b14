# The device dialog: apart from the surface library, so that only what shows it needs the toolkit.

add_library(kelcontrolsurface_midi_dialog STATIC src/MIDIDeviceConfigDialog.cpp)
target_link_libraries(kelcontrolsurface_midi_dialog
    PUBLIC project_options kelui kelcontrolsurface_midi)
