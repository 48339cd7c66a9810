# Flags of our own targets, and of nothing else.
function(oqsdk_own_target target)
  target_compile_options(${target} PRIVATE -Wall -Wextra -Wpedantic -Wshadow -Wnon-virtual-dtor
                         -Woverloaded-virtual -Wcast-align -Werror)
  if(OQSDK_SANITIZE)
    target_compile_options(${target} PUBLIC -fsanitize=${OQSDK_SANITIZE} -fno-omit-frame-pointer)
    target_link_options(${target} PUBLIC -fsanitize=${OQSDK_SANITIZE})
  endif()
  get_target_property(type ${target} TYPE)
  if(BUILD_SHARED_LIBS)
    target_compile_definitions(${target} PRIVATE OQSDK_BUILDING_SHARED)
  endif()
endfunction()
