# Sets the variable to the path that runs a target's program on this machine. For another architecture, this is the path of
# a script that runs the program under the emulator, because the emulator does not emulate child processes. All scripts are
# in one directory and have the programs' names, so that a program that looks for another next to itself finds its script.
function(runnable variable target)
  if(NOT CMAKE_CROSSCOMPILING_EMULATOR)
    set(${variable} $<TARGET_FILE:${target}> PARENT_SCOPE)
    return()
  endif()
  set_target_properties(${target} PROPERTIES RUNTIME_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/${target}.${CMAKE_SYSTEM_PROCESSOR})
  set(script ${CMAKE_BINARY_DIR}/emulated/${target})
  list(JOIN CMAKE_CROSSCOMPILING_EMULATOR " " emulator)
  # bash can read a script even if few descriptors are allowed.
  file(GENERATE OUTPUT ${script}
       CONTENT "#!/bin/bash\nexec ${emulator} -0 \"$0\" \"$<TARGET_FILE:${target}>\" \"$@\"\n"
       FILE_PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE)
  set(${variable} ${script} PARENT_SCOPE)
endfunction()
