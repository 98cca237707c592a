find_package(dlib REQUIRED)
pkg_check_modules(tesseract REQUIRED IMPORTED_TARGET tesseract)
# The detector is templates all through: without the optimiser it is unbearably slow.
set_source_files_properties(face_finder.cpp PROPERTIES COMPILE_OPTIONS "-O2;-w")
target_link_libraries(kelvaris_platform_linux PRIVATE dlib::dlib PkgConfig::tesseract)
