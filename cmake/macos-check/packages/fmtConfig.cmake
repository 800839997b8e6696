# Headers alone: the system's library is another machine's.
if(NOT TARGET fmt::fmt)
  add_library(fmt::fmt INTERFACE IMPORTED)
  target_compile_definitions(fmt::fmt INTERFACE FMT_HEADER_ONLY)
  target_include_directories(fmt::fmt SYSTEM INTERFACE ${AEROVANE_CHECK_INCLUDES})
endif()
