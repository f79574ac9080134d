// Scenes with one fault each: for the reader, which must point at it, and for the schema, as far as a schema can tell.
#pragma once

#include <string>
#include <vector>

namespace orvandel::stage {

struct Member {
  std::string key, json;  // json empty: the member is left out
};

// A small good scene with one member replaced, added or removed.
inline std::string SceneWith(const std::vector<Member>& changes) {
  std::vector<Member> members = {
      {"version", "1"}, {"width", "640"}, {"height", "360"}, {"frameRate", "30"}, {"duration", "2"}};
  for (const Member& change : changes) {
    bool replaced = false;
    for (Member& member : members) {
      if (member.key != change.key) continue;
      member.json = change.json;
      replaced = true;
    }
    if (!replaced) members.push_back(change);
  }
  std::string text;
  for (const Member& member : members) {
    if (!member.json.empty()) text += (text.empty() ? "{\"" : ", \"") + member.key + "\": " + member.json;
  }
  return text + "}";
}

struct BadScene {
  Member change;
  std::string pointer, telling;
  bool schemaTells = true;  // false: it hangs on other values, on files or on another grammar than JSON's
};
inline constexpr bool kBeyondSchema = false;

// The pointer is the culprit's, and the text says what was found and what is allowed.
inline const std::vector<BadScene> kBadScenes = {
    // The frame around everything.
    {{"version", ""}, "/version", "is missing"},
    {{"version", "2"}, "/version", "2 is not 1"},
    {{"width", "0"}, "/width", "0 is outside 1..30000"},
    {{"width", "30001"}, "/width", "30001 is outside 1..30000"},
    {{"height", "1.5"}, "/height", "1.5 is not a whole number in 1..30000"},
    {{"height", "\"360\""}, "/height", "\"360\" is not a whole number in 1..30000"},
    {{"framerate", "25"}, "/framerate", "unknown key; did you mean \"frameRate\"?"},
    {{"frameRate", "0"}, "/frameRate", "0 is not above 0"},
    {{"frameRate", "-25"}, "/frameRate", "-25 is not above 0"},
    {{"frameRate", "23.97602"}, "/frameRate", "\"24000/1001\"", kBeyondSchema},
    {{"frameRate", "\"24/0\""}, "/frameRate", "denominator of 0"},
    {{"frameRate", "\"24 fps\""}, "/frameRate", "\"24 fps\" is not a number"},
    {{"frameRate", "[24]"}, "/frameRate", "an array of 1 is not a number or"},
    {{"duration", "0"}, "/duration", "0 is not above 0"},
    {{"duration", "\"2\""}, "/duration", "\"2\" is not a number of seconds"},
    {{"duration", "40000"}, "/duration", "40000 s is too long", kBeyondSchema},
    {{"duration", "0.12345678901234567891"}, "/duration", "more digits than can be taken exactly", kBeyondSchema},
    {{"pixelAspect", "0"}, "/pixelAspect", "must be in 1..65535"},
    {{"pixelAspect", "\"65536/65537\""}, "/pixelAspect", "65536/65537", kBeyondSchema},
    {{"pixelAspect", "1.234567"}, "/pixelAspect", "1234567/1000000", kBeyondSchema},
    // Files.
    {{"input", "\"no such.png\""}, "/input", "\"no such.png\" does not exist", kBeyondSchema},
    {{"input", "\"shot.%04d.png\""}, "/input", "no file is named like \"shot.%04d.png\"", kBeyondSchema},
    {{"input", "\"http://example.org/a.png\""}, "/input", "only files are read"},
    {{"input", "\".\""}, "/input", "is not a plain file", kBeyondSchema},
    {{"input", "\"\""}, "/input", "empty"},
    {{"input", "null"}, "/input", "null is not a file name"},
    {{"layers", R"({"logo": {"start": 1}})"}, "/layers/logo/file", "is missing"},
    {{"layers", R"({"logo": {"file": "a.png", "begin": 1}})"}, "/layers/logo/begin", "unknown key"},
    {{"layers", R"({"a/b~c": 7})"}, "/layers/a~1b~0c", "7 is not a file name or"},
    // Masks.
    {{"masks", R"({"m": {"d": "M 0 0"}})"}, "/masks/m/d", "no segment", kBeyondSchema},
    {{"masks", R"({"m": {"d": "M 0 0 L 9 9 M 1 1 L 2 2"}})"}, "/masks/m/d", "a second sub-path", kBeyondSchema},
    {{"masks", R"({"m": {}})"}, "/masks/m/d", "is missing"},
    {{"masks", R"({"m": {"d": "M0 0L1 1", "file": "a.svg"}})"}, "/masks/m/file", "beside \"d\""},
    {{"masks", R"({"m": {"d": "M0 0L1 1", "id": "a"}})"}, "/masks/m/id", "belongs to \"file\""},
    {{"masks", R"({"m": {"file": "no.svg", "id": "a"}})"}, "/masks/m/file", "does not exist", kBeyondSchema},
    {{"masks", R"({"m": {"keyframes": [{"time": 0, "d": "M0 0L1 1L2 0"}, {"time": 1, "d": "M0 0L1 1Q2 2 3 3"}]}})"},
     "/masks/m/keyframes/1/d",
     "command 3 is Q, in the first key L",
     kBeyondSchema},
    {{"masks", R"({"m": {"keyframes": [{"time": 0, "d": "M0 0L1 1L0 0Z"}, {"time": 1, "d": "M0 0L1 1L2 0Z"}]}})"},
     "/masks/m/keyframes/1/d",
     "becomes 3 segments, the first key 2",
     kBeyondSchema},
    // Parameters.
    {{"parameters", R"({"Frequenzy": 1})"}, "/parameters/Frequenzy", "unknown parameter; did you mean \"Frequency\"?"},
    {{"parameters", R"({"lifespan": 1})"}, "/parameters/lifespan", "did you mean \"Lifespan (sec)\"?"},
    {{"parameters", R"({"Frequency": [{"time": 0, "value": 1}]})"}, "/parameters/Frequency", "\"keyframes\""},
    {{"params", "{}"}, "/params", "unknown key; did you mean \"parameters\"? Allowed are \"$schema\", "},
    {{"parameters", R"({"Frequency": 900})"}, "/parameters/Frequency", "900 is outside 0..500"},
    {{"parameters", R"({"Frequency": "5"})"}, "/parameters/Frequency", "\"5\" is not a number in 0..500"},
    {{"parameters", R"({"Star Depth": -1.0001})"}, "/parameters/Star Depth", "-1.0001 is outside -1..10"},
    {{"parameters", R"({"Sides": 2.9})"}, "/parameters/Sides", "2.9 is outside 3..128"},
    {{"parameters", R"({"Star": 1})"}, "/parameters/Star", "1 is not true or false"},
    {{"parameters", R"({"Color": "#ff80"})"}, "/parameters/Color", "\"#ff80\" is not a colour \"#rrggbb\""},
    {{"parameters", R"({"Color": "#ff80g0"})"}, "/parameters/Color", "is not a colour"},
    {{"parameters", R"({"Color": "#-f8000"})"}, "/parameters/Color", "is not a colour"},
    {{"parameters", R"({"Direction": 32768})"}, "/parameters/Direction", "32768 is outside -32768..32768"},
    {{"parameters", R"({"Producer Point": [1]})"}, "/parameters/Producer Point", "an array of 1 is not a point [x, y]"},
    {{"parameters", R"({"Producer Point": [1, -40000]})"}, "/parameters/Producer Point/1", "-40000 is outside"},
    {{"parameters", R"({"Wave Type": "Masks"})"}, "/parameters/Wave Type", "did you mean \"Mask\"?"},
    {{"parameters", R"({"Wave Type": 4})"}, "/parameters/Wave Type", "4 is not one of \"Polygon\""},
    {{"parameters", R"({"Wave Type": 1.5})"}, "/parameters/Wave Type", "or 1..3"},
    {{"parameters", R"({"Mask": "ring"})"},
     "/parameters/Mask",
     "unknown mask \"ring\": the scene has no masks",
     kBeyondSchema},
    {{"parameters", R"({"Source Layer": 1})"}, "/parameters/Source Layer", "1 is not the name of a layer or null"},
    {{"parameters", R"({"Star": true, " Star": true})"}, "/parameters/ Star", "is given twice"},
    {{"parameters", R"({"Frequency": {"keys": []}})"}, "/parameters/Frequency/keys", "did you mean \"keyframes\"?"},
    {{"parameters", R"({"Frequency": {"keyframes": []}})"}, "/parameters/Frequency/keyframes", "at least one key"},
    {{"parameters", R"({"Frequency": {"keyframes": [{"time": 1, "value": 1}, {"time": 1, "value": 2}]}})"},
     "/parameters/Frequency/keyframes/1/time",
     "1 does not come after the time before, 1",
     kBeyondSchema},
    {{"parameters", R"({"Frequency": {"keyframes": [{"time": 1}]}})"},
     "/parameters/Frequency/keyframes/0/value",
     "is missing"},
    {{"parameters", R"({"Frequency": {"keyframes": [{"time": 1, "value": 501}]}})"},
     "/parameters/Frequency/keyframes/0/value",
     "501 is outside 0..500"},
    {{"parameters", R"({"Frequency": {"keyframes": [{"time": 1, "value": 5, "interp": "ease"}]}})"},
     "/parameters/Frequency/keyframes/0/interp",
     "did you mean \"ease-in\"?"},
    {{"parameters", R"({"Frequency": {"keyframes": [{"time": 1, "value": 5, "interp": [0, 0, 1.1, 1]}]}})"},
     "/parameters/Frequency/keyframes/0/interp/2",
     "1.1 is outside 0..1"},
    // Sources of numbers.
    {{"parameters", R"({"Star": {"random": {"min": 0, "max": 1}}})"}, "/parameters/Star/random", "does not take"},
    {{"parameters", R"({"Producer Point": {"expression": "t"}})"},
     "/parameters/Producer Point/expression",
     "takes two"},
    {{"parameters", R"({"Frequency": {"random": {"min": 1, "max": 2}, "expression": "t"}})"},
     "/parameters/Frequency/random",
     "is given together with another source"},
    {{"parameters", R"({"Frequency": {"random": {"max": 2}}})"}, "/parameters/Frequency/random/min", "is missing"},
    {{"parameters", R"({"Frequency": {"random": {"min": 1, "max": 501}}})"},
     "/parameters/Frequency/random/max",
     "501 is outside 0..500"},
    {{"parameters", R"({"Frequency": {"random": {"min": 2, "max": 1}}})"},
     "/parameters/Frequency/random/max",
     "1 is below \"min\", 2",
     kBeyondSchema},
    {{"parameters", R"({"Frequency": {"random": {"min": 1, "max": 2, "seed": 0.5}}})"},
     "/parameters/Frequency/random/seed",
     "0.5 is not a whole number"},
    {{"parameters", R"({"Frequency": {"random": {"min": 1, "max": 2, "every": 0}}})"},
     "/parameters/Frequency/random/every",
     "0 is not above 0"},
    {{"parameters", R"({"Producer Point": [1, {"random": {"min": 1, "max": 40000}}]})"},
     "/parameters/Producer Point/1/random/max",
     "40000 is outside"},
    {{"parameters", R"({"Producer Point": [1, {"keyframes": []}]})"},
     "/parameters/Producer Point/1/keyframes",
     "unknown key"},
    {{"parameters", R"({"Frequency": {"audio": {"file": "no.wav", "min": 1, "max": 2}}})"},
     "/parameters/Frequency/audio/file",
     "does not exist",
     kBeyondSchema},
    {{"parameters", R"({"Frequency": {"audio": {"file": "no.wav", "min": 1, "max": 2, "band": "base"}}})"},
     "/parameters/Frequency/audio/band",
     "did you mean \"bass\"?"},
    {{"parameters", R"({"Frequency": {"audio": {"file": "no.wav", "min": 1, "max": 2, "band": [200, 100]}}})"},
     "/parameters/Frequency/audio/band/1",
     "100 is not above 200",
     kBeyondSchema},
    {{"parameters", R"({"Frequency": {"expression": ""}})"}, "/parameters/Frequency/expression", "empty"},
    {{"parameters", R"j({"Frequency": {"expression": "1 + sim(t)"}})j"},
     "/parameters/Frequency/expression",
     "at character 5: unknown name or sign \"sim\"; did you mean \"sin\"?",
     kBeyondSchema},
    {{"parameters", R"({"Frequency": {"expression": "t = 3"}})"},
     "/parameters/Frequency/expression",
     "at character 3: \"=\" sets nothing here",
     kBeyondSchema},
    {{"parameters", R"({"Frequency": {"expression": "2*(t"}})"},
     "/parameters/Frequency/expression",
     "at character 5: Missing parenthesis",
     kBeyondSchema},
    {{"parameters", R"({"Frequency": {"expression": "1, 2"}})"},
     "/parameters/Frequency/expression",
     "2 numbers with commas",
     kBeyondSchema},
    // Several effects, motion blur.
    {{"effects", "[]"}, "/effects", "at least one effect"},
    {{"effects", "{}"}, "/effects", "an object is not an array of effects"},
    {{"effects", R"([{"parameters": {}}, {"params": {}}])"}, "/effects/1/params", "did you mean \"parameters\"?"},
    {{"effects", R"([{"parameters": {"Sides": 2}}])"}, "/effects/0/parameters/Sides", "2 is outside 3..128"},
    {{"effects", R"([{"blend": "over"}])"}, "/effects/0/blend", "is not one of \"normal\", \"add\""},
    {{"effects", R"([{"opacity": 1.5}])"}, "/effects/0/opacity", "1.5 is outside 0..1"},
    {{"effects", R"([{}], "parameters": {})"}, "/effects", "is given together with \"parameters\""},
    {{"motionBlur", R"({"shutter": 90})"}, "/motionBlur/samples", "is missing"},
    {{"motionBlur", R"({"samples": 65})"}, "/motionBlur/samples", "65 is outside 1..64"},
    {{"motionBlur", R"({"samples": 2.5})"}, "/motionBlur/samples", "2.5 is not a whole number"},
    {{"motionBlur", R"({"samples": 4, "shutter": 721})"}, "/motionBlur/shutter", "721 is outside 0..720"},
    // What the JSON grammar allows and a scene does not.
    {{"parameters", R"({"Star": true, "Star": false})"}, "/parameters/Star", "is given twice", kBeyondSchema},
    {{"masks", R"({"m": {"d": "M0 0H1"}, "n": {}, "m": {"d": "M0 0H1"}})"}, "/masks/m", "is given twice"},
    {{"parameters", R"({"Sides": {"keyframes": [{"time": 0, "value": 5, "time": 0}]}})"},
     "/parameters/Sides/keyframes/0/time",
     "is given twice",
     kBeyondSchema},
    {{"input", "\"" + std::string(4097, 'x') + "\""}, "/input", "a text of 4097 bytes, 4096 are allowed"},
    {{"input", std::string(64, '[') + std::string(64, ']')}, "/input/0/0", "nested more than 64 deep"},
};

}  // namespace orvandel::stage
