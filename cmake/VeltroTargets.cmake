# Functions that declare the project's targets, so that every target is built by the same rules.

# What every target of the project is compiled with.
add_library(veltro_options INTERFACE)
target_compile_features(veltro_options INTERFACE cxx_std_20)
target_compile_options(veltro_options INTERFACE
  -Wall -Wextra -Wpedantic -Wshadow -Wconversion -ffunction-sections -fdata-sections)
target_link_options(veltro_options INTERFACE "LINKER:--gc-sections")
if(VELTRO_SANITIZE)
  target_compile_options(veltro_options INTERFACE
    -fsanitize=${VELTRO_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
  target_link_options(veltro_options INTERFACE -fsanitize=${VELTRO_SANITIZE})
endif()

# What is shipped is compiled for size: nearly all of it runs seldom, and the little that runs with
# every call is named by its layer (HOT). Link-time optimisation then merges what the files have in
# common, in the shared library; the archive is plain code. Nothing here asks for type information.
include(CheckLinkerFlag)
if(VELTRO_SANITIZE)
  set(VELTRO_SHIPPED 0)
else()
  set(VELTRO_SHIPPED $<NOT:$<CONFIG:Debug>>)
endif()
set(veltro_size_options -Os -fno-rtti)
set(veltro_shared_options "")
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
  list(APPEND veltro_size_options -flto=auto -ffat-lto-objects)
  list(APPEND veltro_shared_options "$<${VELTRO_SHIPPED}:-flto=auto>")
endif()
check_linker_flag(CXX "LINKER:-z,pack-relative-relocs" VELTRO_LINKER_PACKS_RELOCATIONS)
if(VELTRO_LINKER_PACKS_RELOCATIONS)
  list(APPEND veltro_shared_options "LINKER:-z,pack-relative-relocs")
endif()

# veltro_layer(NAME SOURCES ... [HOT ...] [LIBRARIES ...])
#
# One folder of src as an object library. Which other layers it may use stands in src/LAYERS;
# LIBRARIES names the outside libraries that it, and nobody else, calls; HOT those of its sources
# that are compiled for speed.
function(veltro_layer name)
  cmake_parse_arguments(PARSE_ARGV 1 LAYER "" "" "SOURCES;HOT;LIBRARIES")
  string(REPLACE "/" "_" target "veltro_${name}")
  add_library(${target} OBJECT ${LAYER_SOURCES})
  set_target_properties(${target} PROPERTIES
    POSITION_INDEPENDENT_CODE ON
    CXX_EXTENSIONS OFF
    CXX_VISIBILITY_PRESET hidden
    VISIBILITY_INLINES_HIDDEN ON)
  target_compile_options(${target} PRIVATE "$<${VELTRO_SHIPPED}:${veltro_size_options}>")
  set_source_files_properties(${LAYER_HOT} PROPERTIES COMPILE_OPTIONS "$<${VELTRO_SHIPPED}:-O2>")
  target_include_directories(${target} PRIVATE "${PROJECT_SOURCE_DIR}/src")
  target_include_directories(${target} PRIVATE "${PROJECT_SOURCE_DIR}/include")
  target_link_libraries(${target} PRIVATE veltro_options ${LAYER_LIBRARIES} Threads::Threads)
  set_property(GLOBAL APPEND PROPERTY VELTRO_LAYERS ${target})
  set_property(GLOBAL APPEND PROPERTY VELTRO_LIBRARIES ${LAYER_LIBRARIES})
endfunction()
