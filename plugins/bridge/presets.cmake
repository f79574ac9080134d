# Writes the scene files SCENES as texts into the source file OUT.
set(source "#include \"plugins/bridge/look.h\"\n\nnamespace orvandel::bridge {\n\n"
  "const std::vector<BuiltInPreset>& BuiltInPresets() {\n  static const std::vector<BuiltInPreset> presets = {\n")
foreach(scene ${SCENES})
  get_filename_component(name ${scene} NAME_WE)
  file(READ ${scene} text)
  string(APPEND source "    {\"${name}\", R\"scene(${text})scene\"},\n")
endforeach()
string(APPEND source "  };\n  return presets;\n}\n\n}  // namespace orvandel::bridge\n")
file(WRITE ${OUT} "${source}")
