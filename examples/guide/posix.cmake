# Windows that the library does not know: on Windows it knows those of the system.
tarnkit_add_guide(message_boxes)
