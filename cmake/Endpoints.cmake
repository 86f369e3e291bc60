# Where the service lives. Each value can be set at configure time, to build for another site.
set(QUILLORY_API_HOST "api.velvetharbor.example" CACHE STRING "Host of the API server, port 80")
set(QUILLORY_API_KEY "Rv8nTq2LxW5d" CACHE STRING "The fixed API key, twelve letters and digits")
set(QUILLORY_SITE_DOMAIN "velvetharbor.example" CACHE STRING "The site's domain")
set(QUILLORY_SITE_HOME_URL "http://velvetharbor.example/" CACHE STRING "The site's home page, with a slash at the end")
set(QUILLORY_MEMBER_SITE_URL "http://members.velvetharbor.example/" CACHE STRING "Base of the members' pages")
set(QUILLORY_WALLPAPER_INLINE_URL "http://images.velvetharbor.example/dl/inline/" CACHE STRING "Base of wallpaper images")
set(QUILLORY_UPDATE_STATIC_URL "http://dl.velvetharbor.example/quillory/" CACHE STRING
    "First accepted base of updates, 40 characters")
set(QUILLORY_UPDATE_DOWNLOAD_URL "http://velvetharbor.example/quillory/dl/" CACHE STRING
    "Second accepted base of updates, 40 characters")

set(QUILLORY_GENERATED ${CMAKE_BINARY_DIR}/generated)
configure_file(${CMAKE_SOURCE_DIR}/src/core/Endpoints.h.in ${QUILLORY_GENERATED}/core/Endpoints.h @ONLY)
