# Test programs of the studio network. Their own main builds the network and enters the
# computer's namespace before the framework starts, so they do not use morvane_add_test's main.
# RUN_UNDER as for morvane_add_test.
set(MORVANE_STUDIO_DIR ${CMAKE_CURRENT_LIST_DIR})
function(morvane_add_studio_test name)
    cmake_parse_arguments(ARG "" "LABEL;TIMEOUT" "SOURCES;RUN_UNDER" ${ARGN})
    add_executable(${name} ${ARG_SOURCES} ${MORVANE_STUDIO_DIR}/StudioMain.cpp)
    target_include_directories(${name} PRIVATE ${MORVANE_STUDIO_DIR})
    target_link_libraries(${name} PRIVATE morvane_test_support morvane_unit_lib GTest::gtest)
    target_compile_options(${name} PRIVATE -Wall -Wextra -Wno-deprecated-declarations)
    if(ARG_RUN_UNDER)
        set_target_properties(${name} PROPERTIES CROSSCOMPILING_EMULATOR "${ARG_RUN_UNDER}")
    endif()
    gtest_discover_tests(${name}
        DISCOVERY_MODE PRE_TEST
        PROPERTIES LABELS ${ARG_LABEL} TIMEOUT ${ARG_TIMEOUT})
endfunction()
