# One static library per folder of src/, linked in layer order.
#
# A library sees only its own folder and the folders of the libraries it links (directly or
# through them): each folder is published through a directory of its own under
# build/layers/<folder>/ that holds nothing but a link to src/<folder>.  An include that climbs
# to a higher layer (transport including "run/...") therefore does not compile.
function(cumulex_layer folder)
  cmake_parse_arguments(L "" "" "DEPENDS" ${ARGN})
  file(GLOB_RECURSE sources CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/src/${folder}/*.cpp)
  # src/ui/desktop is the Qt desktop library, built on its own when Qt is enabled.
  list(FILTER sources EXCLUDE REGEX "/src/ui/desktop/")
  set(target cumulex_${folder})
  add_library(${target} STATIC ${sources})
  set(view ${PROJECT_BINARY_DIR}/layers/${folder})
  file(MAKE_DIRECTORY ${view})
  file(CREATE_LINK ${PROJECT_SOURCE_DIR}/src/${folder} ${view}/${folder} SYMBOLIC)
  target_include_directories(${target} PUBLIC ${view})
  if(L_DEPENDS)
    target_link_libraries(${target} PUBLIC ${L_DEPENDS})
  endif()
endfunction()
