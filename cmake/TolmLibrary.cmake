# The library's sources are compiled once, into an object library, and used twice: in the shared library that callers
# link, which exports only what TOLM_EXPORT marks, and in a static one, through which the tests reach the rest.

file(GLOB_RECURSE tolmSources CONFIGURE_DEPENDS "${PROJECT_SOURCE_DIR}/platform/*.cpp"
     "${PROJECT_SOURCE_DIR}/repository/*.cpp")
file(GLOB_RECURSE tolmHeaders CONFIGURE_DEPENDS "${PROJECT_SOURCE_DIR}/platform/*.h"
     "${PROJECT_SOURCE_DIR}/repository/*.h")

add_library(tolmRepositoryObjects OBJECT ${tolmSources} ${tolmHeaders})
set_target_properties(
  tolmRepositoryObjects
  PROPERTIES LINKER_LANGUAGE CXX
             AUTOMOC ON
             POSITION_INDEPENDENT_CODE ON
             CXX_VISIBILITY_PRESET hidden
             VISIBILITY_INLINES_HIDDEN ON)
target_compile_definitions(tolmRepositoryObjects PRIVATE TOLM_REPOSITORY_BUILD)
target_include_directories(tolmRepositoryObjects PRIVATE "${PROJECT_SOURCE_DIR}")
target_link_libraries(tolmRepositoryObjects PRIVATE tolmCompileOptions Qt5::Core Qt5::Sql)

add_library(tolmRepository SHARED $<TARGET_OBJECTS:tolmRepositoryObjects>)
add_library(Tolm::Repository ALIAS tolmRepository)
set_target_properties(
  tolmRepository
  PROPERTIES LINKER_LANGUAGE CXX
             EXPORT_NAME Repository
             VERSION ${PROJECT_VERSION}
             SOVERSION ${PROJECT_VERSION_MAJOR})
target_compile_features(tolmRepository PUBLIC cxx_std_17)
target_include_directories(
  tolmRepository PUBLIC "$<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}>"
                        "$<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}/TolmRepository>")
target_link_libraries(tolmRepository PUBLIC Qt5::Core Qt5::Sql PRIVATE $<BUILD_INTERFACE:tolmCompileOptions>)
if(NOT TOLM_SANITIZE)
  # A sanitized library has open symbols that the program's runtime fills.
  target_link_options(tolmRepository PRIVATE LINKER:--no-undefined)
endif()

if(TOLM_BUILD_TESTS)
  add_library(tolmRepositoryInternals STATIC $<TARGET_OBJECTS:tolmRepositoryObjects>)
  set_target_properties(tolmRepositoryInternals PROPERTIES LINKER_LANGUAGE CXX)
  target_compile_definitions(tolmRepositoryInternals INTERFACE TOLM_REPOSITORY_BUILD)
  target_include_directories(tolmRepositoryInternals INTERFACE "${PROJECT_SOURCE_DIR}")
  target_link_libraries(tolmRepositoryInternals PUBLIC Qt5::Core Qt5::Sql)
endif()
