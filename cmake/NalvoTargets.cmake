# How the parts of the project are built: one object library per layer, the shared library and the tool over them.

add_library(nalvo-options INTERFACE)
target_include_directories(nalvo-options INTERFACE ${CMAKE_SOURCE_DIR}/include ${CMAKE_SOURCE_DIR}/src
                                                   ${CMAKE_BINARY_DIR}/generated)
target_compile_options(nalvo-options INTERFACE -Wall -Wextra -Wpedantic -Wshadow -Wcast-align
                                               -Wunused -Woverloaded-virtual -Wconversion -Wsign-conversion
                                               -fvisibility=hidden)
if(NALVO_WERROR)
  target_compile_options(nalvo-options INTERFACE -Werror)
endif()
if(NALVO_SANITIZE)
  target_compile_options(nalvo-options INTERFACE -fsanitize=${NALVO_SANITIZE} -fno-omit-frame-pointer
                                                 -fno-sanitize-recover=all)
  target_link_options(nalvo-options INTERFACE -fsanitize=${NALVO_SANITIZE})
endif()
if(NALVO_FUZZ)
  target_compile_options(nalvo-options INTERFACE -fsanitize=fuzzer-no-link)
endif()

configure_file(${CMAKE_SOURCE_DIR}/cmake/version.h.in ${CMAKE_BINARY_DIR}/generated/nalvo_version.h @ONLY)

# nalvo_layer(NAME [FOLDERS f...] [NEEDS layer...] [LINK target...])
#
# Builds src/NAME, or the FOLDERS of src, as the object library nalvo-NAME. Link nalvo-NAME-all to get the objects of the
# layer and of all that it needs.
function(nalvo_layer NAME)
  cmake_parse_arguments(L "" "" "FOLDERS;NEEDS;LINK" ${ARGN})
  if(NOT L_FOLDERS)
    set(L_FOLDERS ${NAME})
  endif()
  set(sources)
  foreach(folder ${L_FOLDERS})
    file(GLOB found CONFIGURE_DEPENDS ${CMAKE_SOURCE_DIR}/src/${folder}/*.cc)
    list(APPEND sources ${found})
  endforeach()
  # The libraries that the layer and those below it compile and link against.
  set(links ${L_LINK})
  set(objects)
  foreach(need ${L_NEEDS})
    list(APPEND links ${NALVO_LINKS_${need}})
    list(APPEND objects ${NALVO_OBJECTS_${need}})
  endforeach()
  add_library(nalvo-${NAME}-all INTERFACE)
  if(sources)
    add_library(nalvo-${NAME} OBJECT ${sources})
    target_link_libraries(nalvo-${NAME} PUBLIC nalvo-options ${links})
    list(APPEND objects $<TARGET_OBJECTS:nalvo-${NAME}>)
  endif()
  list(REMOVE_DUPLICATES links)
  list(REMOVE_DUPLICATES objects)
  target_sources(nalvo-${NAME}-all INTERFACE ${objects})
  target_link_libraries(nalvo-${NAME}-all INTERFACE nalvo-options ${links})
  set(NALVO_LINKS_${NAME} ${links} PARENT_SCOPE)
  set(NALVO_OBJECTS_${NAME} ${objects} PARENT_SCOPE)
endfunction()

# The shared library: the exports are its only visible symbols.
function(nalvo_library)
  if(NOT TARGET nalvo-convertors)
    return()
  endif()
  add_library(nalvo-convert SHARED)
  target_link_libraries(nalvo-convert PRIVATE nalvo-convertors-all)
  target_link_options(nalvo-convert PRIVATE -Wl,--version-script=${CMAKE_SOURCE_DIR}/cmake/exports.map)
  set_target_properties(nalvo-convert PROPERTIES LINK_DEPENDS ${CMAKE_SOURCE_DIR}/cmake/exports.map)
endfunction()

# The tool sees include/, the host, and the calendar library. It has the convertors inside, so that it is one file that runs
# anywhere, and so that what it sets for a run, the clock and fresh ids, holds in all of it.
function(nalvo_tool)
  file(GLOB sources CONFIGURE_DEPENDS ${CMAKE_SOURCE_DIR}/src/tool/*.cc)
  add_executable(nalvo ${sources})
  target_link_libraries(nalvo PRIVATE nalvo-convertors-all nalvo-host-all CLI11::CLI11)
endfunction()
