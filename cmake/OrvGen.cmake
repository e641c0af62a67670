# orvgen_unit(MODEL <file>)
#
# Runs the model generator on one model file at build time. Outputs go to
# ${IPMODEL_GEN_DIR}/ipmodel/<folder>/<Unit>.{h,fwd.h,cpp}, where <folder> is
# the model file's folder name, and the .cpp is added to the ipmodel library
# (or to TARGET when given). The generator finds the model files of the
# units a model imports itself and names them in a depfile, so editing the
# model, an imported model or any generator source regenerates, and the
# imports are written only in the model. IMPORTS (model files) is still
# taken, for imports from outside the tree.
file(GLOB_RECURSE ORVGEN_SOURCES CONFIGURE_DEPENDS ${CMAKE_SOURCE_DIR}/frame/orvgen/*.py)

# Custom-command outputs are visible only to targets of the directory that
# adds the command, so unit folders record their units here and the
# top-level file emits the commands (orvgen_finalize) next to the library.
function(orvgen_unit)
  cmake_parse_arguments(U "" "MODEL;TARGET;FOLDER" "IMPORTS" ${ARGN})
  get_filename_component(model ${U_MODEL} ABSOLUTE)
  set(imports)
  foreach(i ${U_IMPORTS})
    get_filename_component(ia ${i} ABSOLUTE)
    list(APPEND imports ${ia})
  endforeach()
  string(REPLACE ";" "," imports "${imports}")
  set_property(GLOBAL APPEND PROPERTY ORVGEN_UNITS "${model}|${imports}|${U_TARGET}|${U_FOLDER}")
endfunction()

function(orvgen_finalize)
  get_property(units GLOBAL PROPERTY ORVGEN_UNITS)
  foreach(u ${units})
    string(REPLACE "|" ";" parts "${u}")
    list(GET parts 0 model)
    list(GET parts 1 imports)
    list(GET parts 2 target)
    list(GET parts 3 folder)
    string(REPLACE "," ";" imports "${imports}")
    set(args MODEL ${model})
    if(imports)
      list(APPEND args IMPORTS ${imports})
    endif()
    if(target)
      list(APPEND args TARGET ${target})
    endif()
    if(folder)
      list(APPEND args FOLDER ${folder})
    endif()
    orvgen_emit(${args})
  endforeach()
endfunction()

function(orvgen_emit)
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
  # Further headers ("header Name {" blocks) are outputs too; adding one
  # to a model reconfigures.
  file(STRINGS ${model} header_lines REGEX "^[ \t]*header[ \t]+[A-Za-z_][A-Za-z0-9_]*[ \t]*{")
  foreach(line ${header_lines})
    string(REGEX REPLACE "^[ \t]*header[ \t]+([A-Za-z_][A-Za-z0-9_]*).*" "\\1" h "${line}")
    list(APPEND outputs ${out}/${h}.h)
  endforeach()
  list(REMOVE_DUPLICATES outputs)
  set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${model})
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
            ${Python3_EXECUTABLE} -m orvgen ${model} ${import_args} --root ${CMAKE_SOURCE_DIR}
            --out ${IPMODEL_GEN_DIR} --folder ${U_FOLDER} --depfile ${out}/${unit}.d
    DEPENDS ${model} ${imports} ${ORVGEN_SOURCES}
    DEPFILE ${out}/${unit}.d
    COMMENT "Generating model unit ${unit}"
    VERBATIM)
  target_sources(${U_TARGET} PRIVATE ${outputs})
endfunction()

# Adds every child folder of the current one that has a CMakeLists.txt, so a
# new test, benchmark or fuzz folder needs no edit here.
function(ipmodel_add_child_dirs)
  file(GLOB children LIST_DIRECTORIES true ${CMAKE_CURRENT_SOURCE_DIR}/*)
  foreach(child ${children})
    if(IS_DIRECTORY ${child} AND EXISTS ${child}/CMakeLists.txt)
      add_subdirectory(${child})
    endif()
  endforeach()
endfunction()
