# Resource modules: what a client module exports, and how its texts are built from a PO file.

# Makes every executable and library that links `target` show the protocol of resource modules.
function(tarnkit_export_module_protocol target)
  foreach(symbol IN ITEMS ___TarnkitUsed ___TarnkitStrings GetResourceID NumberOfMessages GetMessageName
                          GetMessageSystemVersion)
    target_link_options(${target} INTERFACE LINKER:--export-dynamic-symbol=${symbol})
  endforeach()
endfunction()
