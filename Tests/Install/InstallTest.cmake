# cmake -DBUILD=<build> -DSOURCE=<tree> -DVERSION=<x.y.z> -DHOSTING=<morvane_hosting_tests> -P InstallTest.cmake
# Installs system-wide into a temporary prefix, per user into a temporary home (when the build
# kept the default prefix), builds the Debian package and unpacks it; checks each layout, loads
# the unpacked VST2, VST3 and LV2 in the framework's host and prints the package's size. Removes
# what it made.
cmake_policy(VERSION 3.22)
load_cache("${BUILD}" READ_WITH_PREFIX build_ CMAKE_INSTALL_PREFIX MORVANE_DEFAULT_PREFIX)

string(RANDOM LENGTH 10 suffix)
set(scratch "/tmp/morvane-install-test-${suffix}")
file(MAKE_DIRECTORY "${scratch}")
set(failures "")
set(presetFolder "Velmora Audio Works/Presets/Morvane")
file(GLOB_RECURSE factoryPresets RELATIVE "${SOURCE}/Resources/Presets" "${SOURCE}/Resources/Presets/*")

function(fail text)
    set(failures "${failures}\n  ${text}" PARENT_SCOPE)
endfunction()

# Runs a command; its output becomes part of the failure when it does not end well.
function(run what)
    execute_process(COMMAND ${ARGN} RESULT_VARIABLE result OUTPUT_VARIABLE out ERROR_VARIABLE out)
    if(NOT result EQUAL 0)
        set(failures "${failures}\n  ${what} failed (${result}):\n${out}" PARENT_SCOPE)
    endif()
endfunction()

function(expect_layout where vst vst3 lv2 bin presets)
    set(expected "${vst}/Morvane.so" "${vst3}/Morvane.vst3/Contents/x86_64-linux/Morvane.so"
        "${lv2}/Morvane.lv2/manifest.ttl" "${lv2}/Morvane.lv2/dsp.ttl" "${lv2}/Morvane.lv2/libMorvane.so")
    foreach(program morvane morvane-unit)
        execute_process(COMMAND test -x "${bin}/${program}" RESULT_VARIABLE notExecutable)
        if(notExecutable)
            list(APPEND expected "${bin}/${program} (executable)")
        endif()
    endforeach()
    foreach(file ${expected})
        if(NOT EXISTS "${file}")
            set(failures "${failures}\n  ${where}: missing ${file}")
        endif()
    endforeach()
    foreach(preset ${factoryPresets})
        file(SHA256 "${SOURCE}/Resources/Presets/${preset}" want)
        set(got "")
        if(EXISTS "${presets}/${preset}")
            file(SHA256 "${presets}/${preset}" got)
        endif()
        if(NOT got STREQUAL want)
            set(failures "${failures}\n  ${where}: preset ${presets}/${preset} missing or changed")
        endif()
    endforeach()
    set(failures "${failures}" PARENT_SCOPE)
endfunction()

# System-wide into a prefix: lib/vst, lib/vst3, lib/lv2, bin, and the preset tree under var/lib.
set(prefix "${scratch}/prefix")
run("cmake --install --prefix" ${CMAKE_COMMAND} --install "${BUILD}" --prefix "${prefix}")
expect_layout("prefix" "${prefix}/lib/vst" "${prefix}/lib/vst3" "${prefix}/lib/lv2" "${prefix}/bin"
              "${prefix}/var/lib/${presetFolder}")

# Per user: the folders in the home that hosts search, the presets where the plug-in reads them.
if(build_MORVANE_DEFAULT_PREFIX AND build_CMAKE_INSTALL_PREFIX STREQUAL build_MORVANE_DEFAULT_PREFIX)
    set(home "${scratch}/home")
    run("cmake --install for this user" ${CMAKE_COMMAND} -E env "HOME=${home}"
        "MORVANE_PRESET_ROOT=${scratch}/presets" ${CMAKE_COMMAND} --install "${BUILD}")
    expect_layout("per user" "${home}/.vst" "${home}/.vst3" "${home}/.lv2" "${home}/.local/bin"
                  "${scratch}/presets")
    message(STATUS "per user: installed into a temporary home")
else()
    message(STATUS "per user: not checked, the build has the prefix ${build_CMAKE_INSTALL_PREFIX}")
endif()

# The package: named as Debian names it, its dependencies declared, the same layout below /.
set(deb "${scratch}/package/morvane_${VERSION}_amd64.deb")
run("cpack" cpack --config "${BUILD}/CPackConfig.cmake" -B "${scratch}/package")
if(EXISTS "${deb}")
    file(SIZE "${deb}" size)
    math(EXPR kib "${size} / 1024")
    message(STATUS "package morvane_${VERSION}_amd64.deb: ${kib} KiB")
    execute_process(COMMAND dpkg-deb -f "${deb}" Package Version Architecture Depends OUTPUT_VARIABLE control)
    foreach(field "Package: morvane" "Version: ${VERSION}" "Architecture: amd64" "libc6" "libcurl" "libx11-6")
        string(FIND "${control}" "${field}" at)
        if(at LESS 0)
            fail("package control lacks \"${field}\":\n${control}")
        endif()
    endforeach()
    set(root "${scratch}/root")
    run("dpkg -x" dpkg -x "${deb}" "${root}")
    expect_layout("package" "${root}/usr/lib/vst" "${root}/usr/lib/vst3" "${root}/usr/lib/lv2" "${root}/usr/bin"
                  "${root}/var/lib/${presetFolder}")
    run("the framework's host on the unpacked plug-ins" ${CMAKE_COMMAND} -E env "MORVANE_HOSTED_PREFIX=${root}/usr"
        "${HOSTING}" --gtest_filter=Formats/Hosted.*)
else()
    fail("no package ${deb}")
endif()

file(REMOVE_RECURSE "${scratch}")
if(failures)
    message(FATAL_ERROR "install test:${failures}")
endif()
message(STATUS "install layouts and package: good")
