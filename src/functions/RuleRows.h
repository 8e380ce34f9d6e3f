// Function-table rows handed to the rule modules: bandwidth rules (66) and surf rules (69). Each
// answers status-only with the parser's result.
#pragma once

#include "functions/FunctionCall.h"

int Fn66SetTcRules(FnCall& call);
int Fn69SetSurfRules(FnCall& call);
