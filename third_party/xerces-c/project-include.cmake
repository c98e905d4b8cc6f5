# Injected into Xerces-C's CMake build with CMAKE_PROJECT_INCLUDE (runs right
# after its project() call). Xerces-C's top-level CMakeLists.txt sets
# CMAKE_CXX_STANDARD to 14 as a normal variable before project(), which would
# shadow a -DCMAKE_CXX_STANDARD=17 given on the command line; override it here
# so that the library is compiled as C++17 like the rest of the project.
set(CMAKE_CXX_STANDARD 17)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
