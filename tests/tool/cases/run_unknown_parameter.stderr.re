no parameter 'Nope' \(parameters: Amount, TintColour\)
