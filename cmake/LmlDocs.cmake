# Reference documentation of the public headers and the pages, as HTML: the target `docs`.
find_package(Doxygen REQUIRED)
set(DOXYGEN_PROJECT_NAME LumoraLib)
set(DOXYGEN_PROJECT_NUMBER ${PROJECT_VERSION})
set(DOXYGEN_USE_MDFILE_AS_MAINPAGE ${PROJECT_SOURCE_DIR}/README.md)
set(DOXYGEN_IMAGE_PATH ${PROJECT_SOURCE_DIR}/docs/images)
set(DOXYGEN_EXTRACT_STATIC YES)
set(DOXYGEN_EXCLUDE_SYMBOLS LumoraLib::detail)
set(DOXYGEN_MACRO_EXPANSION YES)
set(DOXYGEN_EXPAND_ONLY_PREDEF YES)
set(DOXYGEN_PREDEFINED LML_API= LML_NO_FUSING=)
set(DOXYGEN_QUIET YES)
set(DOXYGEN_WARN_IF_UNDOCUMENTED NO)
doxygen_add_docs(docs ${PROJECT_SOURCE_DIR}/README.md ${PROJECT_SOURCE_DIR}/docs ${PROJECT_SOURCE_DIR}/lml/LmlLumora.h
                 ${PROJECT_SOURCE_DIR}/lml/LmlTypes.h ${PROJECT_SOURCE_DIR}/lml/LmlRuntime.h ${PROJECT_SOURCE_DIR}/lml/LmlCloud.h
                 ${PROJECT_SOURCE_DIR}/lml/LmlAdvice.h ${PROJECT_SOURCE_DIR}/lml/LmlPictures.h ${PROJECT_SOURCE_DIR}/lml/Fftsg.h)
