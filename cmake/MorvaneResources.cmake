# The built-in pictures: Tools/ImageGen paints them at build time, and MorvaneResources
# embeds them as BinaryData::temp_binary_data_N in the plug-in.
add_subdirectory(${PROJECT_SOURCE_DIR}/Tools/ImageGen ${CMAKE_BINARY_DIR}/Tools/ImageGen)
target_link_libraries(Morvane PRIVATE MorvaneResources)
