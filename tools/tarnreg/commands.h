// The commands of tarnreg. Each returns the program's exit code, or throws a Failure or a CException*.
#pragma once

#include <string>
#include <vector>

namespace tarnreg {

/// What stands on the command line behind the command.
struct Arguments {
    std::vector<std::u16string> words;
    bool isRecursive = false; ///< --recursive
    bool isUnnamed = false;   ///< --default: the unnamed value is meant
    bool isDataOnly = false;  ///< --data
    bool isForced = false;    ///< --force
    bool isOnce = false;      ///< --once
    std::u16string type;      ///< --type
    std::u16string format;    ///< --format
    std::u16string timeout;   ///< --timeout
};

int Query(const Arguments& arguments);
int Set(const Arguments& arguments);
int Delete(const Arguments& arguments);
int Copy(const Arguments& arguments);
int Export(const Arguments& arguments);
int Import(const Arguments& arguments);
int Check(const Arguments& arguments);
int Repair(const Arguments& arguments);
int Watch(const Arguments& arguments);

} // namespace tarnreg
