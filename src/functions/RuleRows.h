// Function-table rows handed to the rule modules: bandwidth rules (66) and surf rules (69).
#pragma once

#include "functions/FunctionCall.h"

int Fn66SetTcRules(FnCall& call);
int Fn69SetSurfRules(FnCall& call);
