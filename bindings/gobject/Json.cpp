// SPDX-License-Identifier: Apache-2.0
#include "Json.h"

#include <cmath>

#include "oqsdk/c/gobject.h"

namespace {

/// More than the parser of the library accepts, and little enough for any stack.
constexpr int kMaximumDepth = 100;

bool append(GString* json, GVariant* value, int depth, GError** error);

bool refuse(GError** error, const char* problem) {
  g_set_error(error, OQSDK_ERROR, OQSDK_ERROR_ARGUMENT, "properties contain %s.", problem);
  return false;
}

void appendString(GString* json, const char* string) {
  g_string_append_c(json, '"');
  for (const char* next = string; *next; ++next) {
    if (*next == '"' || *next == '\\')
      g_string_append_printf(json, "\\%c", *next);
    else if (static_cast<unsigned char>(*next) < 0x20)
      g_string_append_printf(json, "\\u%04x", static_cast<unsigned>(*next));
    else
      g_string_append_c(json, *next);
  }
  g_string_append_c(json, '"');
}

bool appendArray(GString* json, GVariant* array, int depth, GError** error) {
  const bool isDictionary = g_variant_is_of_type(array, G_VARIANT_TYPE_DICTIONARY);
  if (isDictionary && !g_variant_is_of_type(array, G_VARIANT_TYPE("a{s*}")))
    return refuse(error, "a dictionary with keys that are not strings");
  g_string_append_c(json, isDictionary ? '{' : '[');
  const gsize count = g_variant_n_children(array);
  for (gsize index = 0; index < count; ++index) {
    if (index > 0) g_string_append_c(json, ',');
    g_autoptr(GVariant) element = g_variant_get_child_value(array, index);
    if (isDictionary) {
      g_autoptr(GVariant) key = g_variant_get_child_value(element, 0);
      appendString(json, g_variant_get_string(key, nullptr));
      g_string_append_c(json, ':');
    }
    g_autoptr(GVariant) value = isDictionary ? g_variant_get_child_value(element, 1) : g_variant_ref(element);
    if (!append(json, value, depth + 1, error)) return false;
  }
  g_string_append_c(json, isDictionary ? '}' : ']');
  return true;
}

bool append(GString* json, GVariant* value, int depth, GError** error) {
  if (depth > kMaximumDepth) return refuse(error, "values that are nested too deeply");
  switch (g_variant_classify(value)) {
    case G_VARIANT_CLASS_STRING:
      appendString(json, g_variant_get_string(value, nullptr));
      return true;
    case G_VARIANT_CLASS_BYTE:
      g_string_append_printf(json, "%u", unsigned{g_variant_get_byte(value)});
      return true;
    case G_VARIANT_CLASS_DOUBLE:
      if (!std::isfinite(g_variant_get_double(value))) return refuse(error, "a number that is not finite");
      [[fallthrough]];
    case G_VARIANT_CLASS_BOOLEAN:
    case G_VARIANT_CLASS_INT16:
    case G_VARIANT_CLASS_UINT16:
    case G_VARIANT_CLASS_INT32:
    case G_VARIANT_CLASS_UINT32:
    case G_VARIANT_CLASS_INT64:
    case G_VARIANT_CLASS_UINT64:
      // Without annotations of types, GLib prints these as JSON does.
      g_variant_print_string(value, json, FALSE);
      return true;
    case G_VARIANT_CLASS_ARRAY:
      return appendArray(json, value, depth, error);
    case G_VARIANT_CLASS_VARIANT: {
      g_autoptr(GVariant) inner = g_variant_get_variant(value);
      return append(json, inner, depth + 1, error);
    }
    default: {
      g_autofree char* problem = g_strdup_printf("a value of the type \"%s\"", g_variant_get_type_string(value));
      return refuse(error, problem);
    }
  }
}

}  // namespace

char* oq::gobject::jsonOf(GVariant* dictionary, GError** error) {
  GString* json = g_string_new(nullptr);
  const bool isComplete = append(json, dictionary, 0, error);
  return g_string_free(json, isComplete ? FALSE : TRUE);
}
