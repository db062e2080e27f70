# The HTTP server and client of the tests and benches: the target zorvane_cpp_httplib, with TLS. The library and the
# collector never link it.
include_guard(GLOBAL)

zorvane_find_module(HTTPLIB cpp-httplib)

add_library(zorvane_cpp_httplib INTERFACE)
target_include_directories(zorvane_cpp_httplib SYSTEM INTERFACE ${HTTPLIB_INCLUDE_DIRS})
# Its switches shape classes in the header, so they must be those that the library was built with.
target_compile_options(zorvane_cpp_httplib INTERFACE ${HTTPLIB_CFLAGS_OTHER})
target_link_libraries(zorvane_cpp_httplib
  INTERFACE ${HTTPLIB_LINK_LIBRARIES} OpenSSL::SSL OpenSSL::Crypto Threads::Threads)
