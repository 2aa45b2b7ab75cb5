# Windows that the library does not know: on Windows it knows those of the system.
add_executable(guide_message_boxes message_boxes.cpp)
target_link_libraries(guide_message_boxes PRIVATE Tarnkit::Tarnkit TarnkitOptions)
add_dependencies(guide guide_message_boxes)
