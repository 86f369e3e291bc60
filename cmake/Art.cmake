# Renders the pictures of the windows, at each density, into one resource script.
find_program(RSVG_CONVERT rsvg-convert REQUIRED)
find_program(OPTIPNG optipng REQUIRED)
set(QUILLORY_ART_DIR ${CMAKE_BINARY_DIR}/art)
set(QUILLORY_ART_RC ${QUILLORY_ART_DIR}/art.rc)
file(GLOB art_sources CONFIGURE_DEPENDS ${CMAKE_SOURCE_DIR}/src/art/*.svg)
add_custom_command(
    OUTPUT ${QUILLORY_ART_RC}
    COMMAND ${CMAKE_SOURCE_DIR}/src/art/render ${QUILLORY_ART_DIR}
    DEPENDS ${art_sources} ${CMAKE_SOURCE_DIR}/src/art/render
    COMMENT "Rendering the art"
    VERBATIM)
add_custom_target(quillory_art DEPENDS ${QUILLORY_ART_RC})
