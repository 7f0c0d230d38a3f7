# orventa_windows_resources(program DESCRIPTION)
# Gives a program of Windows its icon, version and manifest (resources/). By windres
# itself, since the house's flags for C++ would be handed to CMake's resource language.
function(orventa_windows_resources program description)
  set(folder ${PROJECT_SOURCE_DIR}/resources)
  set(icon ${CMAKE_BINARY_DIR}/resources/orventa.ico)
  set(manifest ${CMAKE_BINARY_DIR}/resources/${program}.manifest)
  set(script ${CMAKE_BINARY_DIR}/resources/${program}.rc)
  set(object ${CMAKE_BINARY_DIR}/resources/${program}.res.o)
  string(REPLACE "." "," numbers "${PROJECT_VERSION}.0")
  configure_file(${folder}/program.manifest ${manifest} @ONLY)
  configure_file(${folder}/program.rc ${script} @ONLY)

  if(NOT TARGET orventa_icon)
    add_custom_command(OUTPUT ${icon}
      COMMAND python3 ${folder}/draw_icon.py ${icon}
      DEPENDS ${folder}/draw_icon.py VERBATIM)
    add_custom_target(orventa_icon DEPENDS ${icon})
  endif()
  add_custom_command(OUTPUT ${object}
    COMMAND ${CMAKE_RC_COMPILER} --codepage=65001 ${script} ${object}
    DEPENDS ${script} ${manifest} ${icon} VERBATIM)
  add_dependencies(${program} orventa_icon)
  target_sources(${program} PRIVATE ${object})
endfunction()
