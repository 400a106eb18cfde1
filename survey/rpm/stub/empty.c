/* A library with nothing in it: only its name counts. The stubs are linked
 * against three of these so that they record the names of the links that
 * the library makes in its storage folder as their dependencies. */
typedef int stub_link_translation_unit_is_not_empty;
