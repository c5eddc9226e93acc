double dfsa_yield_array[]={
  1.0000000000000000,
  2.0000000000000000,
  3.0000000000000000,
};

double dfsa_yield(double t){
  if(t<=0) return dfsa_yield_array[0];
  int t0=floor(t);
  int year=t0/12;
  if(year>=2) return dfsa_yield_array[2];
  double month=(t-12*year)/12.0;
  return dfsa_yield_array[year]*(1.0-month)+
    dfsa_yield_array[year+1]*month;}

double dfsa_mortality_female_array[]={
  0.5000000000000000,
  0.7500000000000000,
};

double dfsa_mortality_female(double t){
  if(t<=0) return dfsa_mortality_female_array[0];
  int t0=floor(t);
  int year=t0/12;
  if(year>=1) return dfsa_mortality_female_array[1];
  double month=(t-12*year)/12.0;
  return dfsa_mortality_female_array[year]*(1.0-month)+
    dfsa_mortality_female_array[year+1]*month;}

double dfsa_mortality_improvement_female_array[]={
};

double dfsa_mortality_improvement_female(double t){
  return 0.0;}

double dfsa_mortality_improvement_male_array[]={
  12.5000000000000000,
  0.0000000000000000,
};

double dfsa_mortality_improvement_male(double t){
  if(t<=0) return dfsa_mortality_improvement_male_array[0];
  int t0=floor(t);
  int year=t0/12;
  if(year>=1) return dfsa_mortality_improvement_male_array[1];
  double month=(t-12*year)/12.0;
  return dfsa_mortality_improvement_male_array[year]*(1.0-month)+
    dfsa_mortality_improvement_male_array[year+1]*month;}

double dfsa_mortality_male_array[]={
  0.2500000000000000,
};

double dfsa_mortality_male(double t){
  if(t<=0) return dfsa_mortality_male_array[0];
  int t0=floor(t);
  int year=t0/12;
  if(year>=0) return dfsa_mortality_male_array[0];
  double month=(t-12*year)/12.0;
  return dfsa_mortality_male_array[year]*(1.0-month)+
    dfsa_mortality_male_array[year+1]*month;}

