# Date and time of the build for the identification functions: SOURCE_DATE_EPOCH where it is set, otherwise the compiler's
# own clock at each compilation (empty values here).
if(DEFINED ENV{SOURCE_DATE_EPOCH})
  string(TIMESTAMP LML_BUILD_DATE "%b %d %Y" UTC) # string(TIMESTAMP) itself honours SOURCE_DATE_EPOCH
  string(TIMESTAMP LML_BUILD_TIME "%H:%M:%S" UTC)
else()
  set(LML_BUILD_DATE "")
  set(LML_BUILD_TIME "")
endif()
