# A module is one folder below src/ and one static library, Tavro::NAME.
#
#   add_module(NAME FOLDER path SOURCES … [PUBLIC libs…] [PRIVATE libs…])
#
# Its headers are reached as "path/Header.h", and only by targets that link it: every module
# has an include root of its own in the build folder, with links to its headers and nothing else.
set(TAVRO_WARNINGS -Wall -Wextra -Wpedantic -Wshadow -Wnon-virtual-dtor -Woverloaded-virtual
                   -Wconversion -Wno-sign-conversion)
if(BUILD_TESTING) # who builds a package may have another compiler, with other warnings
  list(APPEND TAVRO_WARNINGS -Werror)
endif()

function(tavro_expose_headers name folder)
  set(root ${CMAKE_BINARY_DIR}/include/${name})
  file(REMOVE_RECURSE ${root})
  file(MAKE_DIRECTORY ${root}/${folder})
  file(GLOB headers CONFIGURE_DEPENDS ${CMAKE_CURRENT_SOURCE_DIR}/*.h)
  foreach(header IN LISTS headers)
    get_filename_component(file ${header} NAME)
    file(CREATE_LINK ${header} ${root}/${folder}/${file} SYMBOLIC)
  endforeach()
endfunction()

function(add_module name)
  cmake_parse_arguments(M "" "FOLDER" "SOURCES;PUBLIC;PRIVATE" ${ARGN})
  tavro_expose_headers(${name} ${M_FOLDER})
  string(TOLOWER tavro_${name} target)
  if(M_SOURCES)
    file(GLOB headers CONFIGURE_DEPENDS ${CMAKE_CURRENT_SOURCE_DIR}/*.h)
    add_library(${target} STATIC ${M_SOURCES} ${headers})
    target_include_directories(${target} PUBLIC ${CMAKE_BINARY_DIR}/include/${name})
    target_link_libraries(${target} PUBLIC ${M_PUBLIC} PRIVATE ${M_PRIVATE})
    target_compile_options(${target} PRIVATE ${TAVRO_WARNINGS})
  else()
    add_library(${target} INTERFACE)
    target_include_directories(${target} INTERFACE ${CMAKE_BINARY_DIR}/include/${name})
    target_link_libraries(${target} INTERFACE ${M_PUBLIC})
  endif()
  add_library(Tavro::${name} ALIAS ${target})
endfunction()

# One test executable, registered with CTest as NAME.
#
#   add_module_test(NAME SOURCES … LIBS libs… [DESKTOP services… [OUTPUTS sizes…]] [LABELS labels…] [TIMEOUT seconds])
#
# DESKTOP lists what tools/desktop/desktop.py starts around it (x11, wm, pulse, pipewire, bus, keyring …), OUTPUTS the
# sizes of a Wayland desktop's outputs.
# The label "threads" puts it into the ThreadSanitizer run; the target "threads" builds what that run needs.
add_custom_target(threads)
function(add_module_test name)
  cmake_parse_arguments(T "" "TIMEOUT" "SOURCES;LIBS;DESKTOP;OUTPUTS;LABELS" ${ARGN})
  add_executable(${name} ${T_SOURCES})
  target_link_libraries(${name} PRIVATE ${T_LIBS} Tavro::TestSupport GTest::gmock GTest::gtest)
  target_compile_options(${name} PRIVATE ${TAVRO_WARNINGS})
  if("threads" IN_LIST T_LABELS)
    add_dependencies(threads ${name})
  endif()
  if(NOT T_TIMEOUT)
    set(T_TIMEOUT 120)
  endif()
  tavro_add_test(${name} COMMAND $<TARGET_FILE:${name}> DESKTOP ${T_DESKTOP} OUTPUTS ${T_OUTPUTS}
    LABELS ${T_LABELS} TIMEOUT ${T_TIMEOUT})
endfunction()

# Registers a command with CTest, inside a virtual desktop where one is asked for.
function(tavro_add_test name)
  cmake_parse_arguments(T "" "TIMEOUT" "COMMAND;DESKTOP;OUTPUTS;LABELS" ${ARGN})
  if(T_DESKTOP)
    list(JOIN T_DESKTOP "," options)
    if(T_OUTPUTS)
      list(JOIN T_OUTPUTS "," outputs)
      list(APPEND options --outputs ${outputs})
    endif()
    set(T_COMMAND /usr/bin/python3 ${CMAKE_SOURCE_DIR}/tools/desktop/desktop.py --with ${options} -- ${T_COMMAND})
  endif()
  add_test(NAME ${name} COMMAND ${T_COMMAND})
  set_tests_properties(${name} PROPERTIES TIMEOUT ${T_TIMEOUT} LABELS "${T_LABELS}"
    ENVIRONMENT "ASAN_OPTIONS=detect_leaks=1:detect_stack_use_after_return=1;UBSAN_OPTIONS=print_stacktrace=1;LSAN_OPTIONS=suppressions=${CMAKE_SOURCE_DIR}/tests/support/lsan.supp:print_suppressions=0;TSAN_OPTIONS=suppressions=${CMAKE_SOURCE_DIR}/tests/support/tsan.supp:halt_on_error=1:second_deadlock_stack=1;QT_FORCE_STDERR_LOGGING=1")
endfunction()
