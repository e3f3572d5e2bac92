# Installing and the Debian package.
#
#   cmake --install build                  per user: ~/.vst, ~/.vst3, ~/.lv2, ~/.local/bin
#   cmake --install build --prefix /usr    system-wide: /usr/lib/vst, /usr/lib/vst3, /usr/lib/lv2, /usr/bin
#   cmake --build build --target package   build/morvane_<version>_amd64.deb, system-wide
#
# The factory presets go into the preset tree the plug-in reads. Which layout applies is decided when
# installing (cmake/MorvaneInstallSteps.cmake): the default prefix without DESTDIR means "this user".
if(NOT TARGET Morvane_VST3)
    return() # nothing to install without the plug-in
endif()

set(MORVANE_PRESET_FOLDER "Velmora Audio Works/Presets/Morvane")
set(MORVANE_FACTORY_PRESETS ${PROJECT_SOURCE_DIR}/Resources/Presets)
# CMake says only on the first run that it chose the prefix itself: kept for the later runs.
if(CMAKE_INSTALL_PREFIX_INITIALIZED_TO_DEFAULT OR (NOT DEFINED MORVANE_DEFAULT_PREFIX AND CMAKE_INSTALL_PREFIX STREQUAL "/usr/local"))
    set(MORVANE_DEFAULT_PREFIX "${CMAKE_INSTALL_PREFIX}" CACHE INTERNAL "the install prefix CMake chose itself")
endif()

set(MORVANE_INSTALLED_PROGRAMS "$<TARGET_FILE:Morvane_Standalone>")
if(TARGET morvane-unit)
    list(APPEND MORVANE_INSTALLED_PROGRAMS "$<TARGET_FILE:morvane-unit>")
endif()

install(CODE "
set(MORVANE_DEFAULT_PREFIX \"${MORVANE_DEFAULT_PREFIX}\")
set(MORVANE_VST \"$<TARGET_FILE:Morvane_VST>\")
set(MORVANE_VST3 \"$<GENEX_EVAL:$<TARGET_PROPERTY:Morvane_VST3,JUCE_PLUGIN_ARTEFACT_FILE>>\")
set(MORVANE_LV2 \"$<TARGET_FILE_DIR:Morvane_LV2>\")
set(MORVANE_PROGRAMS \"${MORVANE_INSTALLED_PROGRAMS}\")
set(MORVANE_FACTORY_PRESETS \"${MORVANE_FACTORY_PRESETS}\")
set(MORVANE_PRESET_FOLDER \"${MORVANE_PRESET_FOLDER}\")
")
install(SCRIPT ${CMAKE_CURRENT_LIST_DIR}/MorvaneInstallSteps.cmake)

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME morvane)
set(CPACK_PACKAGE_VENDOR "Velmora Audio Works")
set(CPACK_PACKAGE_CONTACT "Velmora Audio Works <support@velmora-audio-works.example>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "control plug-in of the Morvane networked stereo compressor")
set(CPACK_PACKAGE_DESCRIPTION "Brings the Morvane hardware compressor into the DAW as a VST, VST3 and LV2\n\
plug-in and a Standalone program: its front panel with knobs that move with the unit's,\n\
host automation, presets, session recall and discovery of units on the studio network.\n\
Also holds morvane-unit, a simulated unit to try it without the hardware.")
set(CPACK_RESOURCE_FILE_LICENSE ${PROJECT_SOURCE_DIR}/LICENSE)
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_INSTALL_PREFIX /usr) # the prefix under DESTDIR
set(CPACK_SET_DESTDIR ON)
set(CPACK_DEBIAN_FILE_NAME "morvane_${PROJECT_VERSION}_amd64.deb")
set(CPACK_DEBIAN_PACKAGE_ARCHITECTURE amd64)
set(CPACK_DEBIAN_PACKAGE_SECTION sound)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON) # the libraries the binaries link, from dpkg-shlibdeps
# What the framework opens at run time rather than links: the X display, fonts and the sound system.
set(CPACK_DEBIAN_PACKAGE_DEPENDS "libx11-6, libxext6, libxrandr2, libxinerama1, libxcursor1, fontconfig")
set(CPACK_DEBIAN_PACKAGE_CONTROL_EXTRA ${CMAKE_CURRENT_LIST_DIR}/debian/postinst)
include(CPack)
