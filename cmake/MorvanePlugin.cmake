# The plug-in. juce_add_plugin makes the static library "Morvane" that holds all of our
# code and the framework; the format targets only add their wrappers, and the tests link
# that same library.
find_package(CURL REQUIRED)

juce_add_plugin(Morvane
    COMPANY_NAME "Velmora Audio Works"
    COMPANY_WEBSITE "https://velmora-audio-works.example"
    PRODUCT_NAME "Morvane"
    VERSION 2.3.10
    PLUGIN_MANUFACTURER_CODE Velm
    PLUGIN_CODE Mrvn
    FORMATS VST VST3 LV2 Standalone
    LV2URI "https://velmora-audio-works.example/plugins/morvane"
    IS_SYNTH FALSE
    NEEDS_MIDI_INPUT FALSE
    NEEDS_MIDI_OUTPUT FALSE
    IS_MIDI_EFFECT FALSE
    EDITOR_WANTS_KEYBOARD_FOCUS FALSE
    COPY_PLUGIN_AFTER_BUILD FALSE
    VST3_CATEGORIES Fx Dynamics
    VST2_CATEGORY kPlugCategEffect)

file(GLOB_RECURSE MORVANE_SOURCES CONFIGURE_DEPENDS
    ${PROJECT_SOURCE_DIR}/Source/*.cpp ${PROJECT_SOURCE_DIR}/Source/*.h)
target_sources(Morvane PRIVATE ${MORVANE_SOURCES})

file(GLOB_RECURSE MORVANE_SOURCE_DIRS LIST_DIRECTORIES true ${PROJECT_SOURCE_DIR}/Source/*)
set(MORVANE_INCLUDE_DIRS "")
foreach(dir ${MORVANE_SOURCE_DIRS})
    if(IS_DIRECTORY ${dir})
        list(APPEND MORVANE_INCLUDE_DIRS ${dir})
    endif()
endforeach()
target_include_directories(Morvane PUBLIC ${MORVANE_INCLUDE_DIRS})

target_compile_definitions(Morvane
    PUBLIC
        JUCE_WEB_BROWSER=0
        JUCE_USE_CURL=1
        JUCE_USE_FLAC=0
        JUCE_USE_OGGVORBIS=0
        JUCE_USE_MP3AUDIOFORMAT=0
        JUCE_USE_LAME_AUDIO_FORMAT=0
        JUCE_USE_WINDOWS_MEDIA_FORMAT=0
        JUCE_MODAL_LOOPS_PERMITTED=1
        JUCE_VST3_CAN_REPLACE_VST2=0
        JUCE_DISPLAY_SPLASH_SCREEN=0
        MORVANE_UPDATE_HOST="${MORVANE_UPDATE_HOST}")

target_link_libraries(Morvane
    PRIVATE
        juce::juce_audio_utils
        juce::juce_gui_extra
    PUBLIC
        CURL::libcurl
        Threads::Threads
        juce::juce_recommended_config_flags)

# Warnings for our own files only; the framework's sources keep their own level.
set_source_files_properties(${MORVANE_SOURCES} PROPERTIES COMPILE_OPTIONS "-Wall;-Wextra;-Wshadow;-Wno-deprecated-declarations")

# What a test program needs to compile against the library: its include paths and defines.
add_library(MorvaneForTests INTERFACE)
target_include_directories(MorvaneForTests INTERFACE
    $<TARGET_PROPERTY:Morvane,INCLUDE_DIRECTORIES>)
target_compile_definitions(MorvaneForTests INTERFACE
    $<TARGET_PROPERTY:Morvane,COMPILE_DEFINITIONS>)
target_link_libraries(MorvaneForTests INTERFACE Morvane)
