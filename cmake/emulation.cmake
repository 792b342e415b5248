# Sets the variable to the path by which this machine runs a target's program. For another architecture, this is a script
# that runs the program under the emulator, which does not emulate child processes. Each program is in a directory of its own,
# and the scripts are together in one, with the programs' names: a program that looks next to itself finds another's script.
function(runnable variable target)
  if(NOT CMAKE_CROSSCOMPILING_EMULATOR)
    set(${variable} $<TARGET_FILE:${target}> PARENT_SCOPE)
    return()
  endif()
  set_target_properties(${target} PROPERTIES RUNTIME_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/${target}.${CMAKE_SYSTEM_PROCESSOR})
  set(script ${CMAKE_BINARY_DIR}/emulated/${target})
  list(JOIN CMAKE_CROSSCOMPILING_EMULATOR " " emulator)
  # Unlike dash, bash can read a script even if only a few descriptors are allowed.
  file(GENERATE OUTPUT ${script}
       CONTENT "#!/bin/bash\nexec ${emulator} -0 \"$0\" \"$<TARGET_FILE:${target}>\" \"$@\"\n"
       FILE_PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE)
  set(${variable} ${script} PARENT_SCOPE)
endfunction()
