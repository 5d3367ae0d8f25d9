\Acompiled {shaders}/GaussianBlur\.fx
  float +Radius
