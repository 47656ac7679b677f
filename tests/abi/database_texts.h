// database_texts.h - what the plug-in says of a trace database that it cannot use.
#pragma once

inline constexpr auto invalid_database = "Trace database has missing fields or is invalid";
// Of broken contracts.
inline constexpr auto strict_access = "it != m_value.object->end()";
inline constexpr auto conditions = R"(element.contains("conditions"))";
