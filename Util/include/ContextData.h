// The service's JSON document: a thin wrapper over a Json::Value with typed
// set and get by member key, array appends, parsing and compact text.
//
// A ContextData either owns its value or is a view on a Json::Value that
// somebody else keeps alive; every operation acts on that "target".
//
// Behaviour that callers rely on and that must not be "fixed":
// - Member lookups insert: reading an absent key adds it with a null value,
//   and a later MakeStr shows it, unless IsValid was asked about that key.
// - SetValue(key, unsigned long long) stores only the low 32 bits, and
//   SetValue(key, long) goes through it.
// - SetValue(key, ContextData&) appends to an array; SetValueNoArry assigns.
// - GetValue(key) on a view copies target[key][0]; on an owning object it
//   copies target[key].
//
// Bad input never throws out of this class:
// - A null key is logged ("key is NULL") and the operation returns its
//   fallback (false, 0, "", "NULL" or a null document) without a lookup.
// - A target that is neither null nor an object (an array or a scalar after
//   MakeData) has no members: setters log and return false, getters log and
//   return their fallback, and the target is left as it is.
// - Element access by index never creates elements: an index outside the
//   member's array (or a member that is not an array) gives a null, detached
//   document. Only the member key itself is inserted, as for every lookup.
// - Parsing is bounded by the JSON reader's nesting limit (1000 levels); a
//   deeper text is a parse failure.
//
// \context Not locked: one thread at a time per object. Objects that threads
// share are guarded by their owner's lock.
#ifndef TESSIVO_UTIL_CONTEXTDATA_H
#define TESSIVO_UTIL_CONTEXTDATA_H

#include <json/json.h>

#include <string>

class ContextData {
public:
    // An own, null document.
    ContextData();
    // A view on value, which the caller keeps alive; null makes an own document.
    explicit ContextData(Json::Value* value);
    // An own document holding a copy of value.
    explicit ContextData(Json::Value value);
    ~ContextData();

    ContextData(const ContextData&) = default;
    ContextData& operator=(const ContextData&) = default;
    ContextData(ContextData&&) = default;
    ContextData& operator=(ContextData&&) = default;

    // Setters: target[key] = the value. True unless the key is null or the
    // target cannot hold members.
    bool SetValue(const char* key, double value);
    bool SetValue(const char* key, int value);
    bool SetValue(const char* key, unsigned int value);
    // Stores the low 32 bits only, as an unsigned integer.
    bool SetValue(const char* key, unsigned long long value);
    // Same as the unsigned long long setter: -1 is stored as 4294967295.
    bool SetValue(const char* key, long value);
    // A null or empty text stores "".
    bool SetValue(const char* key, const char* value);
    bool SetValue(const char* key, std::string value);
    // Assigns a copy of other's target to target[key].
    bool SetValueNoArry(const char* key, ContextData& other);
    // Appends a copy of other's target to the array target[key].
    bool SetValue(const char* key, ContextData& other);
    // Appends a string to the array target[key]; null or empty appends "".
    bool SetValueInArray(const char* key, const char* value);
    bool SetValueInArray(const char* key, std::string value);

    // Getters: the member converted when the JSON library's type test for
    // that type accepts it, otherwise the fallback (false, 0, "").
    bool GetValueBool(const char* key);
    // Integers pass the test as well.
    double GetValueDouble(const char* key);
    int GetValueInt(const char* key);
    unsigned int GetValueUInt(const char* key);
    // Any number that converts to an unsigned 64-bit value without loss:
    // non-negative integers, including what the unsigned long long setter
    // stores, and whole non-negative reals below 2^64.
    unsigned long long GetValueUInt64(const char* key);
    std::string GetValueStr(const char* key);
    // As GetValueStr, but "NULL" for a missing, empty or non-string member.
    std::string GetValueStr2(const char* key);

    // The target itself.
    Json::Value* GetValue();
    // An own copy: of target[key][0] on a view, of target[key] otherwise.
    ContextData GetValue(const char* key);
    // An own copy of target[key][index].
    ContextData GetValue(const char* key, int index);
    // A view on target[key][index].
    ContextData GetValuePtr(const char* key, int index);
    // Elements (members for an object) of target[key]; 0 when null or scalar.
    int GetSize(const char* key);
    // False when target[key] is null, and then the member is removed again.
    bool IsValid(const char* key);
    bool Empty();
    // Empties an object or array target; a scalar target becomes null.
    bool Clear();
    bool RemoveMember(const char* key);

    // Parses text into the target; on failure the target keeps its content
    // and false is returned.
    bool MakeData(const char* text);
    // Compact text of the target, valid until the next MakeStr on this object
    // or its destruction.
    const char* MakeStr();

private:
    Json::Value* _Target();
    // target[key], inserted as null when absent; null when the key is null or
    // the target is neither null nor an object (both logged).
    Json::Value* _Member(const char* key, const char* op);
    // target[key][index] without creating elements; null when out of range.
    Json::Value* _Element(const char* key, int index, const char* op);
    bool _Append(const char* key, Json::Value element, const char* op);

    Json::Value m_value;
    Json::Value* m_pExternal = nullptr;
    std::string m_text;
};

#endif
