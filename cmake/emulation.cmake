# Sets the variable to the path that runs a target's program on this machine. A program for another architecture is run by
# the emulator, which does not run the programs that it starts in turn: the path is then that of a script that starts the
# emulator. All scripts are in one directory and each program in one of its own, so that a program that looks for another
# beside itself finds that one's script.
function(runnable variable target)
  if(NOT CMAKE_CROSSCOMPILING_EMULATOR)
    set(${variable} $<TARGET_FILE:${target}> PARENT_SCOPE)
    return()
  endif()
  set_target_properties(${target} PROPERTIES RUNTIME_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/${target}.${CMAKE_SYSTEM_PROCESSOR})
  set(script ${CMAKE_BINARY_DIR}/emulated/${target})
  list(JOIN CMAKE_CROSSCOMPILING_EMULATOR " " emulator)
  # bash, because it reads a script even where few descriptors are allowed.
  file(GENERATE OUTPUT ${script}
       CONTENT "#!/bin/bash\nexec ${emulator} -0 \"$0\" \"$<TARGET_FILE:${target}>\" \"$@\"\n"
       FILE_PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE)
  set(${variable} ${script} PARENT_SCOPE)
endfunction()
