include(${CMAKE_CURRENT_LIST_DIR}/qldapxTargets.cmake)
