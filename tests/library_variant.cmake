# library_variant(TARGET OPTION...) - the library's sources once more, compiled and linked with these
# options besides its own.
function(library_variant target)
  get_target_property(sources qldapx SOURCES)
  list(FILTER sources EXCLUDE REGEX "^/") # what a build for counting adds
  list(TRANSFORM sources PREPEND ${PROJECT_SOURCE_DIR}/src/)
  add_library(${target} SHARED ${sources})
  target_include_directories(${target} PUBLIC ${PROJECT_SOURCE_DIR}/include
    PRIVATE ${PROJECT_SOURCE_DIR}/src)
  target_compile_definitions(${target} PRIVATE $<TARGET_PROPERTY:qldapx,COMPILE_DEFINITIONS>)
  target_compile_options(${target} PRIVATE $<TARGET_PROPERTY:qldapx,COMPILE_OPTIONS> ${ARGN})
  target_link_options(${target} PRIVATE
    ${ARGN} $<$<BOOL:${QLDAPX_COVERAGE}>:--coverage>
    -Wl,--version-script=${PROJECT_SOURCE_DIR}/abi/qldapx.map
    -Wl,-Bsymbolic-functions -Wl,-z,nodelete)
  target_link_libraries(${target}
    PUBLIC PkgConfig::LDAP PRIVATE OpenSSL::SSL OpenSSL::Crypto Threads::Threads)
endfunction()
