# Fails if the shared library asks for a place in the static TLS block
# (readelf -d shows the STATIC_TLS flag). Such a library can fail to load with
# dlopen ("cannot allocate memory in static TLS block"), which is how module
# hosts load it. Usage: cmake -DLIBRARY=<path> -P CheckNoStaticTls.cmake
find_program(READELF readelf REQUIRED)
execute_process(COMMAND ${READELF} -d ${LIBRARY}
  OUTPUT_VARIABLE dynamic RESULT_VARIABLE status)
if(NOT status EQUAL 0)
  message(FATAL_ERROR "readelf -d ${LIBRARY} failed")
endif()
if(dynamic MATCHES "STATIC_TLS")
  message(FATAL_ERROR "${LIBRARY} carries the STATIC_TLS flag")
endif()
