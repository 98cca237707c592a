find_package(dlib REQUIRED)
pkg_check_modules(tesseract REQUIRED IMPORTED_TARGET tesseract)
# The detector is templates all through: without the optimiser it is unbearably slow.
set_source_files_properties(face_finder.cpp PROPERTIES COMPILE_OPTIONS "-O2;-w")
# Loops over pixels, which the compiler takes many at once when no error of arithmetic has to be told.
set_source_files_properties(face_scanner.cpp gradient_features.cpp PROPERTIES
  COMPILE_OPTIONS "-O3;-fno-math-errno;-fno-trapping-math")
target_link_libraries(kelvaris_platform_linux PRIVATE dlib::dlib PkgConfig::tesseract)
