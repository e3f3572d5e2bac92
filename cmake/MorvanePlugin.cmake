# The plug-in in two layers. MorvaneGlobale is the shared units of Source/GlobaleModule, a
# static library whose only include root is that folder, so a shared unit that includes a
# product header does not compile. The product (Source/Morvane/Source) is juce_add_plugin's
# static library "Morvane"; it links MorvaneGlobale, and the format targets add only their
# wrappers. The tests link "Morvane" too (through MorvaneForTests).
find_package(CURL REQUIRED)
# Presets and session blocks are read by Debian's pugixml (fuzzed by its makers upstream).
find_package(pugixml CONFIG REQUIRED)

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

# Debian's framework names an LV2 plug-in by its product name unless the wrapper is told the URI,
# and a bundle whose binary and manifest then disagree loads in no LV2 host.
get_target_property(MORVANE_LV2_URI Morvane JUCE_LV2URI)
target_compile_definitions(Morvane_LV2 PRIVATE JucePlugin_LV2URI="${MORVANE_LV2_URI}")

include(${CMAKE_CURRENT_LIST_DIR}/MorvaneLayers.cmake)
morvane_check_layers(${PROJECT_SOURCE_DIR}/Source/GlobaleModule)

# The framework's settings, the same for every file that sees a framework header.
add_library(MorvaneJuceSettings INTERFACE)
target_compile_definitions(MorvaneJuceSettings INTERFACE
    JUCE_WEB_BROWSER=0
    JUCE_USE_CURL=1
    JUCE_USE_FLAC=0
    JUCE_USE_OGGVORBIS=0
    JUCE_USE_MP3AUDIOFORMAT=0
    JUCE_USE_LAME_AUDIO_FORMAT=0
    JUCE_USE_WINDOWS_MEDIA_FORMAT=0
    JUCE_MODAL_LOOPS_PERMITTED=1
    JUCE_VST3_CAN_REPLACE_VST2=0
    JUCE_DISPLAY_SPLASH_SCREEN=0)

# The framework modules' headers and definitions without their sources: a module target
# adds its sources to every target that links it, and each module must be compiled once.
set(MORVANE_JUCE_MODULES juce_audio_utils juce_gui_extra)
add_library(MorvaneJuceHeaders INTERFACE)
foreach(module ${MORVANE_JUCE_MODULES})
    target_include_directories(MorvaneJuceHeaders INTERFACE
        $<TARGET_PROPERTY:${module},INTERFACE_INCLUDE_DIRECTORIES>)
    target_compile_definitions(MorvaneJuceHeaders INTERFACE
        $<TARGET_PROPERTY:${module},INTERFACE_COMPILE_DEFINITIONS>)
    target_compile_options(MorvaneJuceHeaders INTERFACE
        $<TARGET_PROPERTY:${module},INTERFACE_COMPILE_OPTIONS>)
endforeach()

file(GLOB_RECURSE MORVANE_GLOBALE_SOURCES CONFIGURE_DEPENDS
    ${PROJECT_SOURCE_DIR}/Source/GlobaleModule/*.cpp ${PROJECT_SOURCE_DIR}/Source/GlobaleModule/*.h)
add_library(MorvaneGlobale STATIC ${MORVANE_GLOBALE_SOURCES})
target_include_directories(MorvaneGlobale PUBLIC ${PROJECT_SOURCE_DIR}/Source/GlobaleModule)
target_compile_definitions(MorvaneGlobale PUBLIC MORVANE_UPDATE_HOST="${MORVANE_UPDATE_HOST}")
# The modules are compiled here, with the definitions juce_add_plugin gave the plug-in: some
# of their sources read the plug-in's name and formats.
get_target_property(MORVANE_PLUGIN_DEFINITIONS Morvane COMPILE_DEFINITIONS)
target_compile_definitions(MorvaneGlobale PRIVATE ${MORVANE_PLUGIN_DEFINITIONS})
target_link_libraries(MorvaneGlobale
    PRIVATE
        juce::juce_audio_utils
        juce::juce_gui_extra
        juce::pkgconfig_JUCE_IMG_LINUX_DEPS
    PUBLIC
        MorvaneJuceSettings
        MorvaneJuceHeaders
        CURL::libcurl
        pugixml::pugixml
        Threads::Threads
        juce::juce_recommended_config_flags)
set_target_properties(MorvaneGlobale PROPERTIES
    POSITION_INDEPENDENT_CODE TRUE
    VISIBILITY_INLINES_HIDDEN TRUE
    C_VISIBILITY_PRESET hidden
    CXX_VISIBILITY_PRESET hidden)

file(GLOB_RECURSE MORVANE_PRODUCT_SOURCES CONFIGURE_DEPENDS
    ${PROJECT_SOURCE_DIR}/Source/Morvane/Source/*.cpp ${PROJECT_SOURCE_DIR}/Source/Morvane/Source/*.h)
# The Standalone's own application is the Standalone target's, not the library's.
set(MORVANE_STANDALONE_SOURCES ${MORVANE_PRODUCT_SOURCES})
list(FILTER MORVANE_STANDALONE_SOURCES INCLUDE REGEX "/Source/Morvane/Source/Standalone/")
list(FILTER MORVANE_PRODUCT_SOURCES EXCLUDE REGEX "/Source/Morvane/Source/Standalone/")
target_sources(Morvane PRIVATE ${MORVANE_PRODUCT_SOURCES})
target_sources(Morvane_Standalone PRIVATE ${MORVANE_STANDALONE_SOURCES})
target_compile_definitions(Morvane_Standalone PRIVATE JUCE_USE_CUSTOM_PLUGIN_STANDALONE_APP=1)
target_link_libraries(Morvane_Standalone PRIVATE MorvaneResources)
target_include_directories(Morvane PUBLIC ${PROJECT_SOURCE_DIR}/Source/Morvane/Source)
target_link_libraries(Morvane PUBLIC MorvaneGlobale)

# Warnings for our own files only; the framework's sources keep their own level.
set_source_files_properties(${MORVANE_GLOBALE_SOURCES} ${MORVANE_PRODUCT_SOURCES} ${MORVANE_STANDALONE_SOURCES}
    PROPERTIES COMPILE_OPTIONS "-Wall;-Wextra;-Wshadow;-Wno-deprecated-declarations")

# What a test program needs to compile against the plug-in: its include paths and defines.
add_library(MorvaneForTests INTERFACE)
target_include_directories(MorvaneForTests INTERFACE
    $<TARGET_PROPERTY:Morvane,INCLUDE_DIRECTORIES>)
target_compile_definitions(MorvaneForTests INTERFACE
    $<TARGET_PROPERTY:Morvane,COMPILE_DEFINITIONS>)
target_link_libraries(MorvaneForTests INTERFACE Morvane)
