# cmake -DMODULE=... -P bundle.cmake: puts the libraries that only developers have beside
# the module, which finds them by $ORIGIN.
get_filename_component(folder "${MODULE}" DIRECTORY)
file(GET_RUNTIME_DEPENDENCIES MODULES "${MODULE}" RESOLVED_DEPENDENCIES_VAR libraries
  PRE_INCLUDE_REGEXES "^libhwy" "^libmeshoptimizer" "^libpugixml" "^liblzf" PRE_EXCLUDE_REGEXES ".")
foreach(library IN LISTS libraries)
  get_filename_component(name "${library}" NAME)
  file(REAL_PATH "${library}" real)
  configure_file("${real}" "${folder}/${name}" COPYONLY)
endforeach()
