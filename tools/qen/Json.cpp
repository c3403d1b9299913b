#include "Json.h"

#include "Text.h"

#include "platform/QenTime.h"

Json JsonText::Object(char const* schema)
{
  Json object;
  object["schema"] = schema;
  return object;
}

void JsonText::AddPath(Json& object, std::string const& key, std::string const& path)
{
  object[key] = path;
  if (!Text::IsUtf8(path))
    object[key + "_hex"] = Text::Hex(path);
}

void JsonText::AddOptionalPath(Json& object, std::string const& key, std::string const& path)
{
  if (path.empty())
    object[key] = nullptr;
  else
    AddPath(object, key, path);
}

void JsonText::AddTime(Json& object, std::string const& key, long long microseconds)
{
  object[key] = QenTime::TimeStampToString(microseconds);
  object[key + "_us"] = microseconds;
}

void JsonText::AddEnumerator(Json& object, std::string const& key, char const* name, int code)
{
  object[key] = name == nullptr ? Json(nullptr) : Json(name);
  object[key + "_code"] = code;
}

std::string JsonText::Line(Json const& object) { return object.dump(-1, ' ', true, Json::error_handler_t::replace); }
