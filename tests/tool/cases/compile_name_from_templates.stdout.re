\Acompiled {data}/manager/templates/Extra\.fx
  float +Lift
