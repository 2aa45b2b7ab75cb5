// All of Tarnkit in one include.
#pragma once

#include <tarnkit/archive.h>
#include <tarnkit/array.h>
#include <tarnkit/exceptions.h>
#include <tarnkit/file.h>
#include <tarnkit/file_system.h>
#include <tarnkit/hash_table.h>
#include <tarnkit/hashing.h>
#include <tarnkit/lifecycle.h>
#include <tarnkit/map.h>
#include <tarnkit/memory_file.h>
#include <tarnkit/memory_manager.h>
#include <tarnkit/message_handlers.h>
#include <tarnkit/messages.h>
#include <tarnkit/pointer_array.h>
#include <tarnkit/pool_allocators.h>
#include <tarnkit/registry_key.h>
#include <tarnkit/resource_modules.h>
#include <tarnkit/string.h>
#include <tarnkit/tarnkit_static.h>
#include <tarnkit/temp_file.h>
#include <tarnkit/text_of_values.h>
#include <tarnkit/text_stream.h>
#include <tarnkit/thread_storage.h>
#include <tarnkit/unicode_string.h>
#include <tarnkit/version_info.h>
