float Amount = 0\.5;

float Angle = 12\.34568;

int Mode = 2;

bool Invert = true;

float4 Lift = \{ 0\.1,0\.2,0\.3,1 \};

float4 Gain = \{ 1,0\.9,0\.8,0\.5 \};
