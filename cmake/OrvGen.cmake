# orvgen_unit(MODEL <file> [IMPORTS <model files>...])
#
# Runs the model generator on one model file at build time. Outputs go to
# ${IPMODEL_GEN_DIR}/ipmodel/<folder>/<Unit>.{h,fwd.h,cpp}, where <folder> is
# the model file's folder name, and the .cpp is added to the ipmodel library
# (or to TARGET when given). The command depends on the model, the imported
# models and every generator source, so editing any of them regenerates.
file(GLOB ORVGEN_SOURCES CONFIGURE_DEPENDS ${CMAKE_SOURCE_DIR}/frame/orvgen/*.py)

function(orvgen_unit)
  cmake_parse_arguments(U "" "MODEL;TARGET;FOLDER" "IMPORTS" ${ARGN})
  if(NOT U_TARGET)
    set(U_TARGET ipmodel)
  endif()
  get_filename_component(model ${U_MODEL} ABSOLUTE)
  get_filename_component(unit ${model} NAME_WE)
  if(NOT U_FOLDER)
    get_filename_component(dir ${model} DIRECTORY)
    get_filename_component(U_FOLDER ${dir} NAME)
  endif()
  set(out ${IPMODEL_GEN_DIR}/ipmodel/${U_FOLDER})
  set(outputs ${out}/${unit}.h ${out}/${unit}.fwd.h ${out}/${unit}.cpp)
  set(imports)
  set(import_args)
  foreach(i ${U_IMPORTS})
    get_filename_component(ia ${i} ABSOLUTE)
    list(APPEND imports ${ia})
    list(APPEND import_args --import ${ia})
  endforeach()
  add_custom_command(
    OUTPUT ${outputs}
    COMMAND ${CMAKE_COMMAND} -E env PYTHONPATH=${CMAKE_SOURCE_DIR}/frame
            ${Python3_EXECUTABLE} -m orvgen ${model} ${import_args}
            --out ${IPMODEL_GEN_DIR} --folder ${U_FOLDER}
    DEPENDS ${model} ${imports} ${ORVGEN_SOURCES}
    COMMENT "Generating model unit ${unit}"
    VERBATIM)
  target_sources(${U_TARGET} PRIVATE ${outputs})
endfunction()
