zef_add_bench(reconstruct SOURCES run/reconstruct_bench.cpp USES api)

# Prints a table for the files that it is given, see there.
add_executable(progressShares run/progressShares.cpp)
target_link_libraries(progressShares PRIVATE zef::zef zef_options)
add_executable(cancelTime run/cancelTime.cpp)
target_link_libraries(cancelTime PRIVATE zef::zef zef_options)
