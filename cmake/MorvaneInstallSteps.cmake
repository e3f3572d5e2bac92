# The install-time half of MorvaneInstall.cmake: picks the layout, then copies. The prefix and
# DESTDIR are only known now (cmake --install --prefix, CPack's staging).

function(morvane_preset_tree_of_this_machine out)
    # Where the plug-in looks: MORVANE_PRESET_ROOT when set, the machine-wide tree when it can be
    # made and written, else the user's.
    if(NOT "$ENV{MORVANE_PRESET_ROOT}" STREQUAL "")
        set(${out} "$ENV{MORVANE_PRESET_ROOT}" PARENT_SCOPE)
        return()
    endif()
    set(machine "/var/lib/${MORVANE_PRESET_FOLDER}")
    execute_process(COMMAND mkdir -p "${machine}" ERROR_QUIET)
    execute_process(COMMAND test -w "${machine}" RESULT_VARIABLE notWritable)
    if(notWritable)
        set(${out} "$ENV{HOME}/.local/share/${MORVANE_PRESET_FOLDER}" PARENT_SCOPE)
    else()
        set(${out} "${machine}" PARENT_SCOPE)
    endif()
endfunction()

function(morvane_state_dir prefix out)
    # As GNUInstallDirs has it: /usr and / keep their state in /var, other prefixes below themselves.
    if(prefix STREQUAL "/usr" OR prefix STREQUAL "/")
        set(${out} "/var" PARENT_SCOPE)
    else()
        set(${out} "${prefix}/var" PARENT_SCOPE)
    endif()
endfunction()

set(destdir "$ENV{DESTDIR}")
if(MORVANE_DEFAULT_PREFIX AND CMAKE_INSTALL_PREFIX STREQUAL MORVANE_DEFAULT_PREFIX AND destdir STREQUAL "")
    set(home "$ENV{HOME}")
    set(vst "${home}/.vst")
    set(vst3 "${home}/.vst3")
    set(lv2 "${home}/.lv2")
    set(bin "${home}/.local/bin")
    morvane_preset_tree_of_this_machine(presets)
    message(STATUS "Installing for this user (give --prefix /usr for every user)")
else()
    set(vst "${CMAKE_INSTALL_PREFIX}/lib/vst")
    set(vst3 "${CMAKE_INSTALL_PREFIX}/lib/vst3")
    set(lv2 "${CMAKE_INSTALL_PREFIX}/lib/lv2")
    set(bin "${CMAKE_INSTALL_PREFIX}/bin")
    morvane_state_dir("${CMAKE_INSTALL_PREFIX}" state)
    set(presets "${state}/lib/${MORVANE_PRESET_FOLDER}")
endif()

file(INSTALL "${MORVANE_VST}" DESTINATION "${vst}" RENAME Morvane.so)
file(INSTALL "${MORVANE_VST3}" DESTINATION "${vst3}" USE_SOURCE_PERMISSIONS)
file(INSTALL "${MORVANE_LV2}" DESTINATION "${lv2}" USE_SOURCE_PERMISSIONS)
foreach(program IN LISTS MORVANE_PROGRAMS)
    get_filename_component(name "${program}" NAME)
    string(TOLOWER "${name}" name) # the Standalone is "morvane" on the command line
    file(INSTALL "${program}" DESTINATION "${bin}" USE_SOURCE_PERMISSIONS RENAME "${name}")
endforeach()
file(INSTALL "${MORVANE_FACTORY_PRESETS}/" DESTINATION "${presets}" FILE_PERMISSIONS OWNER_READ OWNER_WRITE
     GROUP_READ WORLD_READ)
