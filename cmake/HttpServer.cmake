# The HTTP server of the collector and of the tests: the target cpp-httplib, with TLS. The library itself never links it.
include_guard(GLOBAL)

pkg_check_modules(HTTPLIB QUIET cpp-httplib)
if(NOT HTTPLIB_FOUND)
  message(FATAL_ERROR "The collector and the tests need cpp-httplib: apt-get install libcpp-httplib-dev")
endif()

add_library(cpp-httplib INTERFACE)
target_include_directories(cpp-httplib SYSTEM INTERFACE ${HTTPLIB_INCLUDE_DIRS})
# Its switches shape classes in the header, so they must be those that the library was built with.
target_compile_options(cpp-httplib INTERFACE ${HTTPLIB_CFLAGS_OTHER})
target_link_libraries(cpp-httplib INTERFACE ${HTTPLIB_LINK_LIBRARIES} OpenSSL::SSL OpenSSL::Crypto Threads::Threads)
