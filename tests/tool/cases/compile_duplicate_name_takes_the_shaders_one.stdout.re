\Acompiled {data}/manager/shaders/Blur\.fx
