# Sets the variable to the path that runs the program of a target on this machine. Built for another machine, the program is
# run by the emulator, which does not follow it into the programs that it starts: there the path is that of a script that
# starts the emulator anew. The scripts lie together, and each program in a folder of its own: what it looks for beside itself
# it finds beside its script.
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
