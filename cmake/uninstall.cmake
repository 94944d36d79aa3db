# Removes the files of the last installation from this build tree, and the folders that were made for
# them where nothing else is in there.
if(NOT EXISTS ${MANIFEST})
  message(FATAL_ERROR "Nothing is installed from here: there is no ${MANIFEST}")
endif()

file(STRINGS ${MANIFEST} files)
list(TRANSFORM files PREPEND "$ENV{DESTDIR}")
file(REMOVE ${files})
foreach(file IN LISTS files)
  if(EXISTS ${file} OR IS_SYMLINK ${file})
    message(FATAL_ERROR "${file} cannot be removed; who installed it may")
  endif()
endforeach()

set(folders)
if(EXISTS ${NEW_FOLDERS})
  file(STRINGS ${NEW_FOLDERS} folders)
  list(REMOVE_DUPLICATES folders)
  list(SORT folders ORDER DESCENDING) # what is in a folder stands before it then
endif()
foreach(folder IN LISTS folders)
  if(IS_DIRECTORY ${folder})
    execute_process(COMMAND rmdir --ignore-fail-on-non-empty -- ${folder})
  endif()
endforeach()
file(REMOVE ${MANIFEST} ${NEW_FOLDERS})
