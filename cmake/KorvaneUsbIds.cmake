# USB ids of the camera modules are written vvvv:pppp, lower-case
# hexadecimal. Splits one into its vendor and product parts, refusing any
# other form.
function(korvane_split_usb_id id vendor_var product_var)
  if(NOT id MATCHES "^([0-9a-f][0-9a-f][0-9a-f][0-9a-f]):([0-9a-f][0-9a-f][0-9a-f][0-9a-f])$")
    message(FATAL_ERROR "module USB id '${id}' is not vvvv:pppp in lower-case hexadecimal")
  endif()
  set(${vendor_var} ${CMAKE_MATCH_1} PARENT_SCOPE)
  set(${product_var} ${CMAKE_MATCH_2} PARENT_SCOPE)
endfunction()
