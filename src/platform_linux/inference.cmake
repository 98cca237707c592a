# The inference runtime is opened at run time; only its headers are needed here, and without them every
# model counts as failing to load. ./dev fetches both.
find_path(ONNXRUNTIME_HEADERS onnxruntime_cxx_api.h
  HINTS ${PROJECT_SOURCE_DIR}/third_party/onnxruntime/include
  PATH_SUFFIXES onnxruntime)
if(ONNXRUNTIME_HEADERS)
  set_source_files_properties(onnx_inference.cpp PROPERTIES
    COMPILE_DEFINITIONS KELVARIS_HAS_ONNXRUNTIME=1
    INCLUDE_DIRECTORIES ${ONNXRUNTIME_HEADERS}
    COMPILE_OPTIONS "-Wno-unused-parameter;-Wno-pedantic")
endif()
target_link_libraries(kelvaris_platform_linux PRIVATE ${CMAKE_DL_LIBS})
if(EXISTS ${PROJECT_SOURCE_DIR}/third_party/onnxruntime/libonnxruntime.so.1)
  file(MAKE_DIRECTORY ${CMAKE_BINARY_DIR}/lib)
  file(CREATE_LINK ${PROJECT_SOURCE_DIR}/third_party/onnxruntime/libonnxruntime.so.1
    ${CMAKE_BINARY_DIR}/lib/libonnxruntime.so.1 SYMBOLIC)
endif()
