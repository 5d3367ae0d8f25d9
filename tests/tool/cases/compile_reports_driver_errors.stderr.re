{data}/broken\.fx:7: error: [^\n]*undefinedThing[^\n]*undeclared
