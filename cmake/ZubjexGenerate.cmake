# zubjex_generate(TARGET <target> FILES <file.jex>... [CLIENT_ONLY])
#
# Runs jexgen at build time on each description and adds the generated
# <stem>.jex.h/.jex.cpp to <target>, which also gets their folder on its include path
# (#include "<stem>.jex.h") and links the libraries the generated code needs:
# zubjex::zubjex and zubjex::zubjex_support, and zubjex::zubjex_server unless
# CLIENT_ONLY (which leaves the server skeletons out). A description is generated again
# whenever it or jexgen changes. Relative paths are taken from the calling folder.
function(zubjex_generate)
  cmake_parse_arguments(G "CLIENT_ONLY" "TARGET" "FILES" ${ARGN})
  if(NOT G_TARGET OR NOT G_FILES)
    message(FATAL_ERROR "zubjex_generate: TARGET and FILES are required")
  endif()
  set(generator_dep)
  if(TARGET jexgen)
    set(generator jexgen)  # built in this tree
    set(generator_dep jexgen)
  elseif(TARGET zubjex::jexgen)
    set(generator zubjex::jexgen)  # from the installed package
  else()
    message(FATAL_ERROR "zubjex_generate: no jexgen target; find_package(zubjex) first")
  endif()
  set(options)
  if(G_CLIENT_ONLY)
    set(options --client-only)
  endif()
  set(out_dir ${CMAKE_CURRENT_BINARY_DIR}/jexgen/${G_TARGET})
  file(MAKE_DIRECTORY ${out_dir})
  foreach(file ${G_FILES})
    get_filename_component(input ${file} ABSOLUTE BASE_DIR ${CMAKE_CURRENT_SOURCE_DIR})
    get_filename_component(stem ${input} NAME)
    string(REGEX REPLACE "\\.jex$" "" stem ${stem})
    set(header ${out_dir}/${stem}.jex.h)
    set(source ${out_dir}/${stem}.jex.cpp)
    add_custom_command(OUTPUT ${header} ${source}
      COMMAND ${generator} -o ${out_dir} ${options} ${input}
      DEPENDS ${input} ${generator_dep}
      COMMENT "jexgen ${file}"
      VERBATIM)
    target_sources(${G_TARGET} PRIVATE ${header} ${source})
  endforeach()
  target_include_directories(${G_TARGET} PUBLIC $<BUILD_INTERFACE:${out_dir}>)
  foreach(lib zubjex zubjex_support)
    target_link_libraries(${G_TARGET} PUBLIC zubjex::${lib})
  endforeach()
  if(NOT G_CLIENT_ONLY)
    target_link_libraries(${G_TARGET} PUBLIC zubjex::zubjex_server)
  endif()
endfunction()
