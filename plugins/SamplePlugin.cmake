# Helpers for the sample plug-ins: each is a loadable module that links
# nothing of the project but its headers, built into <build>/plugins.

set(KOV_SAMPLE_PLUGIN_DIR ${PROJECT_BINARY_DIR}/plugins)

# kov_sample_plugin(target source... [DEFINITIONS def...])
# Sets KOV_SAMPLE_PATH_<target> in the caller to the module's built path, for
# the .reg templates.
function(kov_sample_plugin target)
  cmake_parse_arguments(ARG "" "" "DEFINITIONS" ${ARGN})
  add_library(${target} MODULE ${ARG_UNPARSED_ARGUMENTS})
  target_include_directories(${target} PRIVATE ${PROJECT_SOURCE_DIR}/include ${PROJECT_SOURCE_DIR}/plugins)
  target_compile_definitions(${target} PRIVATE ${ARG_DEFINITIONS})
  set_target_properties(${target} PROPERTIES LIBRARY_OUTPUT_DIRECTORY ${KOV_SAMPLE_PLUGIN_DIR})
  kov_target_warnings(${target})
  set(KOV_SAMPLE_PATH_${target}
    ${KOV_SAMPLE_PLUGIN_DIR}/${CMAKE_SHARED_MODULE_PREFIX}${target}${CMAKE_SHARED_MODULE_SUFFIX} PARENT_SCOPE)
endfunction()

# Fills the registry template `template` with the built paths into
# <build>/plugins/<name>.reg, ready for `kovreg import`.
function(kov_sample_registration template name)
  configure_file(${template} ${KOV_SAMPLE_PLUGIN_DIR}/${name}.reg @ONLY)
endfunction()
