// Writes what editors need to show the plug-ins' parameters, from the table that the plug-ins themselves go by:
//   editor_files FOLDER
//     FOLDER/kdenlive/generators/orvandel.xml, FOLDER/kdenlive/effects/orvandel-over.xml
//     FOLDER/shotcut/orvandel-over/meta.qml, ui.qml
//     FOLDER/parameters.md: the table of docs/plugins.md
#include <cstdio>
#include <exception>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>
#include <string_view>

#include <fmt/format.h>

#include "plugins/frei0r/param_table.h"

namespace {

using orvandel::frei0r::Param;
using orvandel::frei0r::Params;
using Kind = Param::Kind;

constexpr int kSteps = 1000;  // of a slider

void Write(const std::filesystem::path& file, const std::string& text) {
  std::filesystem::create_directories(file.parent_path());
  std::ofstream out(file, std::ios::binary);
  out << text;
  if (!out.flush()) throw std::runtime_error(file.string() + " cannot be written");
}

std::string Joined(const Param& param, const char* between) {
  std::string text;
  for (const std::string& word : param.words) text += (text.empty() ? "" : between) + word;
  return text;
}

std::string Color(const Param& param) { return fmt::format("#{:06x}", param.defaultColor); }

// What editors write down for every parameter that nobody touches: it stands for no value, so that a scene's own holds.
double Untouched(const Param& param) {
  if (param.role != orvandel::frei0r::Role::kEffect) return param.defaultNumber;
  if (param.kind == Kind::kSwitch) return orvandel::frei0r::kNoSwitch;
  return param.defaultNumber + orvandel::frei0r::kHair;
}
std::string UntouchedColor(const Param& param) {
  const bool isFull = (param.defaultColor & 0xFF) == 0xFF;
  return fmt::format("#{:06x}", param.defaultColor + (isFull ? -1u : 1u));
}

// Texts that nobody animates and that have no widget of their own keep their defaults.
bool IsShown(const Param& param) {
  return param.role == orvandel::frei0r::Role::kScene ||
         (param.kind != Kind::kText && param.kind != Kind::kMask && param.role != orvandel::frei0r::Role::kTimeUnit);
}

// --- Kdenlive

// A generator's dialog does not scroll: with all rows its buttons lie below a screen of 1080 lines. What is about
// traced pictures goes, since a generator has none but those of a scene file, which says how it traces them.
bool IsInGeneratorDialog(const Param& param) {
  return IsShown(param) && (param.info == nullptr || param.info->group != "Image Contour");
}

// `choices` and `shown` begin with what is there untouched.
std::string KdenliveList(std::size_t index, const std::string& choices, const std::string& shown,
                         const std::string& name) {
  return fmt::format(
      "  <parameter type=\"list\" name=\"{}\" default=\"{}\" "
      "paramlist=\"{}\"><paramlistdisplay>{}</paramlistdisplay>{}</parameter>\n",
      index, choices.substr(0, choices.find(';')), choices, shown, name);
}

std::string KdenliveParam(const Param& param, std::size_t index) {
  const std::string name =
      fmt::format("<name>{}</name><comment><![CDATA[{}]]></comment>", param.name, param.explanation);
  switch (param.kind) {
    case Kind::kSwitch:
      if (param.role == orvandel::frei0r::Role::kEffect) {
        return KdenliveList(index, fmt::format("{};0;1", Untouched(param)), "Off or as the scene,Off,On", name);
      }
      return fmt::format("  <parameter type=\"bool\" name=\"{}\" default=\"{}\" min=\"0\" max=\"1\">{}</parameter>\n",
                         index, param.defaultNumber, name);
    case Kind::kColor:
      return fmt::format("  <parameter type=\"color\" name=\"{}\" default=\"{}\">{}</parameter>\n", index,
                         UntouchedColor(param), name);
    case Kind::kWords:
      return KdenliveList(index, "Unset;" + Joined(param, ";"),
                          param.defaultText + " or as the scene," + Joined(param, ","), name);
    case Kind::kText:
      return fmt::format("  <parameter type=\"url\" name=\"{}\" default=\"\">{}</parameter>\n", index, name);
    default:
      return fmt::format(
          "  <parameter type=\"animated\" name=\"{}\" default=\"{:.5f}\" min=\"0\" max=\"{}\" "
          "factor=\"{}\">{}</parameter>\n",
          index, Untouched(param), kSteps, kSteps, name);
  }
}

std::string Kdenlive(bool isFilter) {
  const char* element = isFilter ? "effect" : "generator";
  const char* plugin = isFilter ? "orvandel-over" : "orvandel";
  std::string text = fmt::format(
      "<!DOCTYPE kpartgui>\n<{0} tag=\"frei0r.{1}\" id=\"frei0r.{1}\">\n  <name>{2}</name>\n"
      "  <description>{3}</description>\n  <author>Orvandel</author>\n",
      element, plugin, isFilter ? "Orvandel Over" : "Orvandel",
      isFilter ? "Expanding shapes over the picture, or traced from it" : "Expanding shapes");
  const auto& params = Params(isFilter);
  for (std::size_t i = 0; i < params.size(); ++i) {
    if (isFilter ? IsShown(params[i]) : IsInGeneratorDialog(params[i])) text += KdenliveParam(params[i], i);
  }
  return text + fmt::format("</{}>\n", element);
}

// --- Shotcut: filters alone are data there.

bool IsAnimated(const Param& param) {
  return param.kind != Kind::kSwitch && param.kind != Kind::kColor && param.kind != Kind::kWords &&
         param.kind != Kind::kMask && param.kind != Kind::kText;
}

std::string ShotcutMeta() {
  std::string text =
      "import QtQuick 2.12\nimport org.shotcut.qml 1.0\n\nMetadata {\n    type: Metadata.Filter\n    name: 'Orvandel "
      "Over'\n"
      "    objectName: 'orvandel-over'\n    mlt_service: 'frei0r.orvandel-over'\n    qml: 'ui.qml'\n"
      "    keyframes {\n        allowAnimateIn: true\n        allowAnimateOut: true\n        parameters: [\n";
  std::string rows;
  const auto& params = Params(true);
  for (std::size_t i = 0; i < params.size(); ++i) {
    if (!IsAnimated(params[i])) continue;
    rows +=
        fmt::format("{}            Parameter {{ name: '{}'; property: '{}'; isCurve: true; minimum: 0; maximum: 1 }}",
                    rows.empty() ? "" : ",\n", params[i].name, i);
  }
  return text + rows + "\n        ]\n    }\n}\n";
}

std::string ShotcutRow(const Param& param, std::size_t index) {
  if (IsAnimated(param)) return fmt::format("        Number {{ label: '{}'; name: '{}' }}\n", param.name, index);
  if (param.kind == Kind::kSwitch)
    return fmt::format("        Switch {{ label: '{}'; name: '{}' }}\n", param.name, index);
  return fmt::format("        Words {{ label: '{}'; name: '{}' }}\n", param.name, index);
}

// A slider shows fewer digits than the value has: nothing is written before it is moved.
constexpr std::string_view kShotcutControls = R"(import QtQuick 2.15
import QtQuick.Controls 2.12
import QtQuick.Layouts 1.12
import Shotcut.Controls 1.0 as Shotcut

Item {
    id: root
    width: 400
    height: column.implicitHeight
    function getPosition() { return Math.max(producer.position - (filter.in - producer.in), 0) }
    function showAll() {
        for (var i = 0; i < column.children.length; i++)
            if (column.children[i].show) column.children[i].show()
    }
    Connections { target: producer; function onPositionChanged() { root.showAll() } }
    component Number: RowLayout {
        id: row
        property string label
        property string name
        function show() {
            slider.value = filter.getDouble(name, root.getPosition())
            keys.checked = filter.keyframeCount(name) > 0
        }
        function write() {
            if (Math.abs(slider.value - filter.getDouble(name, root.getPosition())) < 0.0005) return
            if (keys.checked) filter.set(name, slider.value, root.getPosition())
            else filter.set(name, slider.value)
        }
        Label { text: row.label; Layout.preferredWidth: 120 }
        Shotcut.SliderSpinner {
            id: slider
            minimumValue: 0; maximumValue: 1; decimals: 3; stepSize: 0.001
            onValueChanged: row.write()
        }
        Shotcut.KeyframesButton {
            id: keys
            onToggled: {
                filter.resetProperty(row.name)
                if (checked) filter.set(row.name, slider.value, root.getPosition())
                else filter.set(row.name, slider.value)
            }
        }
    }
    component Switch: CheckBox {
        property string label
        property string name
        function show() { checked = filter.get(name) === '1' }
        text: label
        onClicked: filter.set(name, checked ? 1 : 0)
    }
    component Words: RowLayout {
        id: words
        property string label
        property string name
        function show() { field.text = filter.get(name) }
        Label { text: words.label; Layout.preferredWidth: 120 }
        TextField { id: field; Layout.fillWidth: true; onEditingFinished: filter.set(words.name, text) }
    }
    Component.onCompleted: {
        if (filter.isNew) {
)";
constexpr std::string_view kShotcutPage = R"(            filter.savePreset(preset.parameters)
        }
        showAll()
    }
    ColumnLayout {
        id: column
        anchors.fill: parent
        Shotcut.Preset { id: preset; onPresetSelected: root.showAll() }
)";

std::string ShotcutUi() {
  const auto& params = Params(true);
  std::string defaults, rows;
  for (std::size_t i = 0; i < params.size(); ++i) {
    if (IsAnimated(params[i]) || params[i].kind == Kind::kSwitch) {
      defaults += fmt::format("            filter.set('{}', {:.5f})\n", i, Untouched(params[i]));
    } else {
      defaults += fmt::format("            filter.set('{}', '{}')\n", i,
                              params[i].kind == Kind::kColor ? UntouchedColor(params[i]) : "");
    }
    rows += ShotcutRow(params[i], i);
  }
  return fmt::format("{}{}{}{}    }}\n}}\n", kShotcutControls, defaults, kShotcutPage, rows);
}

// --- The documented table

std::string Accepts(const Param& param) {
  switch (param.kind) {
    case Kind::kSwitch:
      return "on, off";
    case Kind::kColor:
      return "a colour";
    case Kind::kWords:
      return Joined(param, ", ");
    case Kind::kMask:
      return "1, 2, ...";
    case Kind::kText:
      return "text";
    default:
      return fmt::format("{:.6g} · {:.6g} · {:.6g}{}{}", param.curve.At(0), param.curve.At(0.5), param.curve.At(1),
                         param.unit.empty() ? "" : " ", param.unit);
  }
}

std::string DefaultText(const Param& param) {
  if (param.kind == Kind::kSwitch) return param.defaultNumber >= 0.5 ? "on" : "off";
  if (param.kind == Kind::kColor) return Color(param);
  if (IsAnimated(param))
    return fmt::format("{:.6g} ({:.6g})", param.defaultNumber, param.curve.At(param.defaultNumber));
  return param.defaultText.empty() ? "empty" : param.defaultText;
}

std::string Table() {
  std::string text = "| | parameter | 0 · 0.5 · 1, or what it takes | default |\n|---|---|---|---|\n";
  const auto& params = Params(true);
  for (std::size_t i = 0; i < params.size(); ++i) {
    text += fmt::format("| {} | {} | {} | {} |\n", i, params[i].name, Accepts(params[i]), DefaultText(params[i]));
  }
  return text;
}

}  // namespace

int main(int argc, char** argv) try {
  if (argc != 2) throw std::runtime_error("usage: editor_files FOLDER");
  const std::filesystem::path folder = argv[1];
  Write(folder / "kdenlive" / "generators" / "orvandel.xml", Kdenlive(false));
  Write(folder / "kdenlive" / "effects" / "orvandel-over.xml", Kdenlive(true));
  Write(folder / "shotcut" / "orvandel-over" / "meta.qml", ShotcutMeta());
  Write(folder / "shotcut" / "orvandel-over" / "ui.qml", ShotcutUi());
  Write(folder / "parameters.md", Table());
  return 0;
} catch (const std::exception& error) {
  std::fprintf(stderr, "editor_files: %s\n", error.what());
  return 1;
}
