# The sample application, built against an installed library.
cmake_minimum_required(VERSION 3.25)
project(Shop LANGUAGES CXX)

find_package(Veltro 4 REQUIRED)
add_executable(shop main.cpp)
target_link_libraries(shop PRIVATE Veltro::veltro)

# The package: what the application ships beside its program.
add_custom_command(TARGET shop POST_BUILD
  COMMAND ${CMAKE_COMMAND} -E copy_directory
    "${CMAKE_CURRENT_SOURCE_DIR}/package" "$<TARGET_FILE_DIR:shop>")
