# Generation of XRL client stubs and target bases from XORP interface files.
#
#   xrl_generate_clients(<out_var> XIF_DIR <dir> XIFS a.xif b.xif ...
#                        [TARGET <tgt>] [OUT_DIR <dir>])
#     For each a.xif: <OUT_DIR>/xrl/interfaces/a_xif.hh and a_xif.cc, with one
#     class Xrl<Iface><VMpm>Client per interface in the file.
#
#   xrl_generate_target(<out_var> TGT <file.tgt> XIF_DIR <dir>
#                       [PREFIXED iface ...] [TARGET <tgt>] [OUT_DIR <dir>])
#     <OUT_DIR>/xrl/targets/<name>_base.hh and <name>_base.cc with class
#     Xrl<Name>TargetBase. Interfaces listed in PREFIXED get handler names that
#     carry interface and version (finder_event_observer_0_1_xrl_target_birth).
#
# OUT_DIR defaults to ${CMAKE_BINARY_DIR}/gen. <out_var> receives the generated
# .hh and .cc files. With TARGET, the sources are added to that target and
# OUT_DIR becomes a PUBLIC include directory of it; the target must link xipc.
# Relative XIFS are taken from XIF_DIR, a relative TGT from the calling folder.
# Each file may be generated only once per build tree.

set(XIF_GEN_SCRIPT ${CMAKE_CURRENT_LIST_DIR}/xif_gen.py CACHE INTERNAL
    "XRL interface generator")

function(_xrl_gen_attach target out_dir stem kind)
  # A custom target makes the files available to targets of other folders.
  string(MD5 dir_hash "${out_dir}")
  string(SUBSTRING ${dir_hash} 0 8 dir_hash)
  set(custom xrl_gen_${kind}_${stem}_${dir_hash})
  add_custom_target(${custom} DEPENDS ${ARGN})
  if(target)
    target_sources(${target} PRIVATE ${ARGN})
    target_include_directories(${target} PUBLIC ${out_dir})
    add_dependencies(${target} ${custom})
  endif()
endfunction()

function(xrl_generate_clients out_var)
  cmake_parse_arguments(XG "" "XIF_DIR;TARGET;OUT_DIR" "XIFS" ${ARGN})
  if(NOT XG_XIF_DIR OR NOT XG_XIFS)
    message(FATAL_ERROR "xrl_generate_clients: XIF_DIR and XIFS are required")
  endif()
  if(NOT XG_OUT_DIR)
    set(XG_OUT_DIR ${CMAKE_BINARY_DIR}/gen)
  endif()
  get_filename_component(xif_dir ${XG_XIF_DIR} ABSOLUTE
                         BASE_DIR ${CMAKE_CURRENT_SOURCE_DIR})
  set(dest ${XG_OUT_DIR}/xrl/interfaces)
  set(all)
  foreach(xif ${XG_XIFS})
    get_filename_component(xif_path ${xif} ABSOLUTE BASE_DIR ${xif_dir})
    get_filename_component(stem ${xif_path} NAME_WE)
    set(outs ${dest}/${stem}_xif.hh ${dest}/${stem}_xif.cc)
    add_custom_command(
      OUTPUT ${outs}
      COMMAND ${Python3_EXECUTABLE} ${XIF_GEN_SCRIPT} client
              --out-dir ${dest} -I ${xif_dir}
              --depfile ${dest}/${stem}_xif.d ${xif_path}
      DEPENDS ${XIF_GEN_SCRIPT} ${xif_path}
      DEPFILE ${dest}/${stem}_xif.d
      COMMENT "Generating XRL client ${stem}_xif"
      VERBATIM)
    _xrl_gen_attach("${XG_TARGET}" ${XG_OUT_DIR} ${stem} client ${outs})
    list(APPEND all ${outs})
  endforeach()
  set(${out_var} ${all} PARENT_SCOPE)
endfunction()

function(xrl_generate_target out_var)
  cmake_parse_arguments(XG "" "TGT;XIF_DIR;TARGET;OUT_DIR" "PREFIXED" ${ARGN})
  if(NOT XG_TGT OR NOT XG_XIF_DIR)
    message(FATAL_ERROR "xrl_generate_target: TGT and XIF_DIR are required")
  endif()
  if(NOT XG_OUT_DIR)
    set(XG_OUT_DIR ${CMAKE_BINARY_DIR}/gen)
  endif()
  get_filename_component(xif_dir ${XG_XIF_DIR} ABSOLUTE
                         BASE_DIR ${CMAKE_CURRENT_SOURCE_DIR})
  get_filename_component(tgt_path ${XG_TGT} ABSOLUTE
                         BASE_DIR ${CMAKE_CURRENT_SOURCE_DIR})
  get_filename_component(stem ${tgt_path} NAME_WE)
  set(dest ${XG_OUT_DIR}/xrl/targets)
  set(prefixed)
  foreach(iface ${XG_PREFIXED})
    list(APPEND prefixed --prefixed ${iface})
  endforeach()
  set(outs ${dest}/${stem}_base.hh ${dest}/${stem}_base.cc)
  add_custom_command(
    OUTPUT ${outs}
    COMMAND ${Python3_EXECUTABLE} ${XIF_GEN_SCRIPT} target
            --out-dir ${dest} -I ${xif_dir} ${prefixed}
            --depfile ${dest}/${stem}_base.d ${tgt_path}
    DEPENDS ${XIF_GEN_SCRIPT} ${tgt_path}
    DEPFILE ${dest}/${stem}_base.d
    COMMENT "Generating XRL target base ${stem}_base"
    VERBATIM)
  _xrl_gen_attach("${XG_TARGET}" ${XG_OUT_DIR} ${stem} target ${outs})
  set(${out_var} ${outs} PARENT_SCOPE)
endfunction()
