# A room is a static library under src/ whose headers are reached as "<room>/<header>.h".
#
# Its include root is a generated folder that holds nothing but a link to the room, so a room that
# was not declared as a dependency cannot be included by accident: the compiler does not find it.
# Dependencies must be declared before their users, so a cycle cannot be written down.
#
# Every .cpp file that stands in a room belongs to it. A room without one holds headers alone.
#
#   add_room(name DEPS room... LIBRARIES target...)
function(add_room name)
  cmake_parse_arguments(ROOM "" "" "DEPS;LIBRARIES" ${ARGN})
  file(GLOB ROOM_SOURCES CONFIGURE_DEPENDS *.cpp)
  foreach(dependency IN LISTS ROOM_DEPS)
    if(NOT TARGET kelvaris_${dependency})
      message(FATAL_ERROR "Room '${name}' names '${dependency}', which is not declared below it")
    endif()
  endforeach()
  set(include_root ${CMAKE_BINARY_DIR}/rooms/${name})
  file(MAKE_DIRECTORY ${include_root})
  file(CREATE_LINK ${CMAKE_CURRENT_SOURCE_DIR} ${include_root}/${name} SYMBOLIC)
  if(ROOM_SOURCES)
    add_library(kelvaris_${name} STATIC ${ROOM_SOURCES})
    set(visibility PUBLIC)
  else()
    add_library(kelvaris_${name} INTERFACE)
    set(visibility INTERFACE)
  endif()
  target_include_directories(kelvaris_${name} ${visibility} ${include_root})
  list(TRANSFORM ROOM_DEPS PREPEND kelvaris_)
  target_link_libraries(kelvaris_${name} ${visibility} ${ROOM_DEPS} ${ROOM_LIBRARIES})
endfunction()

# The tests of one room: every .cpp file beside, one program, run as one test.
#
#   add_room_tests(name ROOMS room... LIBRARIES target...)
function(add_room_tests name)
  cmake_parse_arguments(TESTS "" "" "ROOMS;LIBRARIES" ${ARGN})
  file(GLOB TESTS_SOURCES CONFIGURE_DEPENDS *.cpp)
  if(NOT TESTS_SOURCES)
    return()
  endif()
  add_executable(kelvaris_${name}_tests ${TESTS_SOURCES})
  list(TRANSFORM TESTS_ROOMS PREPEND kelvaris_)
  target_link_libraries(kelvaris_${name}_tests PRIVATE ${TESTS_ROOMS} kelvaris_test_support
                        ${TESTS_LIBRARIES} GTest::gmock GTest::gtest_main)
  add_test(NAME ${name} COMMAND kelvaris_${name}_tests --gtest_brief=1)
endfunction()
