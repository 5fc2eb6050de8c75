# The code of a Wayland protocol, a library that gives NAME-client-protocol.h. It is not held to our warnings.
#
#   add_wayland_protocol(TARGET FILE)      FILE below the folder of wayland-protocols
pkg_check_modules(WAYLAND_CLIENT REQUIRED IMPORTED_TARGET GLOBAL wayland-client)
pkg_get_variable(WAYLAND_SCANNER wayland-scanner wayland_scanner)
pkg_get_variable(WAYLAND_PROTOCOLS wayland-protocols pkgdatadir)

function(add_wayland_protocol target file)
  set(protocol ${WAYLAND_PROTOCOLS}/${file})
  cmake_path(GET file STEM name)
  set(header ${CMAKE_CURRENT_BINARY_DIR}/${target}/${name}-client-protocol.h)
  set(code ${CMAKE_CURRENT_BINARY_DIR}/${target}/${name}-protocol.c)
  file(MAKE_DIRECTORY ${CMAKE_CURRENT_BINARY_DIR}/${target})
  add_custom_command(OUTPUT ${header} DEPENDS ${protocol}
    COMMAND ${WAYLAND_SCANNER} client-header ${protocol} ${header})
  add_custom_command(OUTPUT ${code} DEPENDS ${protocol}
    COMMAND ${WAYLAND_SCANNER} private-code ${protocol} ${code})
  add_library(${target} STATIC ${header} ${code})
  target_include_directories(${target} SYSTEM INTERFACE ${CMAKE_CURRENT_BINARY_DIR}/${target})
  target_link_libraries(${target} PUBLIC PkgConfig::WAYLAND_CLIENT)
endfunction()
