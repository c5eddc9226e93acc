// Collective mortality
double one_alive_both_dead_male[MONTH_LIMIT];
double one_alive_both_dead_female[MONTH_LIMIT];

// Gauss distribution
double one_over_sqrt_two_pi;
double gauss(double x,double mean,double stddev){
  double e=(x-mean)/stddev;
  double e2=e*e;
  if(e2>100) return 0.0;
  return exp((-0.5)*e*e)*one_over_sqrt_two_pi/stddev;}

double alive_dead_male(double age){
  double result;
  result=
    fmin(1,(0.000500+(age/(double)12000)));
  return result;}

double gamma_male(double age){
  double result;
  result=
    0;
  return result;}

double sigma_male(double age){
  double result;
  result=
    0.001000;
  return result;}

double g_male(double age,double age_spouse){
  double result;
  result=
    gauss(age_spouse,(age-36),60);
  return result;}

double alive_dead_female(double age){
  double result;
  result=
    ((age/12.0)/(double)1000);
  return result;}

double gamma_female(double age){
  double result;
  result=
    0;
  return result;}

double sigma_female(double age){
  double result;
  result=
    0;
  return result;}

double g_female(double age,double age_spouse){
  double result;
  result=
    0;
  return result;}

void computeCollectiveMortalityMale(){
  int month,monthSpouse;
  double intensity,probability;
  double alive_none[MONTH_LIMIT];
  double dead_none[MONTH_LIMIT];
  double alive_alive[MONTH_LIMIT][MONTH_LIMIT];
  double dead_alive[MONTH_LIMIT][MONTH_LIMIT];
  double spouse_mortality[MONTH_LIMIT];

  // Initialize for insured age 0 months
  alive_none[0]=1;
  dead_none[0]=0;
  for(monthSpouse=0;monthSpouse<MONTH_LIMIT;monthSpouse++){
    alive_alive[0][monthSpouse]=0;
    dead_alive[0][monthSpouse]=0;}
  for(month=0;month<MONTH_LIMIT;month++){
    alive_alive[month][0]=0;
    dead_alive[month][0]=0;}

  // The final collective mortality (which is not computed)
  one_alive_both_dead_male[MONTH_LIMIT-1]=0.0;

  // Tabulate spouse intensity
  for(month=0;month<MONTH_LIMIT;month++){
    spouse_mortality[month]=alive_dead_female(month);}

  // Move the age of the insured forward one month at a time
  for(month=1;month<MONTH_LIMIT;month++){

    // Move probabilities one month forward without any transitions
    alive_none[month]=alive_none[month-1];
    dead_none[month]=dead_none[month-1];
    for(monthSpouse=1;monthSpouse<MONTH_LIMIT;monthSpouse++){
      alive_alive[month][monthSpouse]=
        alive_alive[month-1][monthSpouse-1];
      dead_alive[month][monthSpouse]=
        dead_alive[month-1][monthSpouse-1];}

    // Take the mortality of the insured into account
    intensity=alive_dead_male(month-1);
    probability=intensity*alive_none[month-1];
    alive_none[month]-=probability;
    dead_none[month]+=probability;
    for(monthSpouse=1;monthSpouse<MONTH_LIMIT;monthSpouse++){
      probability=intensity*alive_alive[month-1][monthSpouse-1];
      alive_alive[month][monthSpouse]-=probability;
      dead_alive[month][monthSpouse]+=probability;}

    // Take the mortality of the spouse into account
    for(monthSpouse=1;monthSpouse<MONTH_LIMIT;monthSpouse++){
      intensity=spouse_mortality[monthSpouse-1];
      probability=intensity*alive_alive[month-1][monthSpouse-1];
      alive_alive[month][monthSpouse]-=probability;
      alive_none[month]+=probability;
      probability=intensity*dead_alive[month-1][monthSpouse-1];
      dead_alive[month][monthSpouse]-=probability;
      dead_none[month]+=probability;}

    // Take the divorse intensity into account
    intensity=sigma_male(month-1);
    for(monthSpouse=1;monthSpouse<MONTH_LIMIT;monthSpouse++){
      probability=intensity*alive_alive[month-1][monthSpouse-1];
      alive_alive[month][monthSpouse]-=probability;
      alive_none[month]+=probability;}

    // Take the marriage intensity into account
    intensity=gamma_male(month-1);
    for(monthSpouse=1;monthSpouse<MONTH_LIMIT;monthSpouse++){
      double i=g_male(month,monthSpouse);
      probability=intensity*i*alive_none[month-1];
      alive_none[month]-=probability;
      alive_alive[month][monthSpouse]+=probability;}

    double one_alive=1.0-dead_none[month-1];
    if(one_alive<0.0000000001) one_alive=0.0000000001;
    intensity=(dead_none[month]-dead_none[month-1])/one_alive;
    if(intensity<0.0) intensity=0.0;
    if(intensity>1.0) intensity=1.0;
    one_alive_both_dead_male[month-1]=intensity;
  }
}

void computeCollectiveMortalityFemale(){
  int month,monthSpouse;
  double intensity,probability;
  double alive_none[MONTH_LIMIT];
  double dead_none[MONTH_LIMIT];
  double alive_alive[MONTH_LIMIT][MONTH_LIMIT];
  double dead_alive[MONTH_LIMIT][MONTH_LIMIT];
  double spouse_mortality[MONTH_LIMIT];

  // Initialize for insured age 0 months
  alive_none[0]=1;
  dead_none[0]=0;
  for(monthSpouse=0;monthSpouse<MONTH_LIMIT;monthSpouse++){
    alive_alive[0][monthSpouse]=0;
    dead_alive[0][monthSpouse]=0;}
  for(month=0;month<MONTH_LIMIT;month++){
    alive_alive[month][0]=0;
    dead_alive[month][0]=0;}

  // The final collective mortality (which is not computed)
  one_alive_both_dead_female[MONTH_LIMIT-1]=0.0;

  // Tabulate spouse intensity
  for(month=0;month<MONTH_LIMIT;month++){
    spouse_mortality[month]=alive_dead_male(month);}

  // Move the age of the insured forward one month at a time
  for(month=1;month<MONTH_LIMIT;month++){

    // Move probabilities one month forward without any transitions
    alive_none[month]=alive_none[month-1];
    dead_none[month]=dead_none[month-1];
    for(monthSpouse=1;monthSpouse<MONTH_LIMIT;monthSpouse++){
      alive_alive[month][monthSpouse]=
        alive_alive[month-1][monthSpouse-1];
      dead_alive[month][monthSpouse]=
        dead_alive[month-1][monthSpouse-1];}

    // Take the mortality of the insured into account
    intensity=alive_dead_female(month-1);
    probability=intensity*alive_none[month-1];
    alive_none[month]-=probability;
    dead_none[month]+=probability;
    for(monthSpouse=1;monthSpouse<MONTH_LIMIT;monthSpouse++){
      probability=intensity*alive_alive[month-1][monthSpouse-1];
      alive_alive[month][monthSpouse]-=probability;
      dead_alive[month][monthSpouse]+=probability;}

    // Take the mortality of the spouse into account
    for(monthSpouse=1;monthSpouse<MONTH_LIMIT;monthSpouse++){
      intensity=spouse_mortality[monthSpouse-1];
      probability=intensity*alive_alive[month-1][monthSpouse-1];
      alive_alive[month][monthSpouse]-=probability;
      alive_none[month]+=probability;
      probability=intensity*dead_alive[month-1][monthSpouse-1];
      dead_alive[month][monthSpouse]-=probability;
      dead_none[month]+=probability;}

    // Take the divorse intensity into account
    intensity=sigma_female(month-1);
    for(monthSpouse=1;monthSpouse<MONTH_LIMIT;monthSpouse++){
      probability=intensity*alive_alive[month-1][monthSpouse-1];
      alive_alive[month][monthSpouse]-=probability;
      alive_none[month]+=probability;}

    // Take the marriage intensity into account
    intensity=gamma_female(month-1);
    for(monthSpouse=1;monthSpouse<MONTH_LIMIT;monthSpouse++){
      double i=g_female(month,monthSpouse);
      probability=intensity*i*alive_none[month-1];
      alive_none[month]-=probability;
      alive_alive[month][monthSpouse]+=probability;}

    double one_alive=1.0-dead_none[month-1];
    if(one_alive<0.0000000001) one_alive=0.0000000001;
    intensity=(dead_none[month]-dead_none[month-1])/one_alive;
    if(intensity<0.0) intensity=0.0;
    if(intensity>1.0) intensity=1.0;
    one_alive_both_dead_female[month-1]=intensity;
  }
}

double collectiveMortalityMale(double age){
  if(!(age<MONTH_LIMIT-0.5)) return 1.0;
  if(age<0) age=0;
  int age1=round(age);
  double result=one_alive_both_dead_male[age1];
  if(result>=0) return result;
  computeCollectiveMortalityMale();
  return one_alive_both_dead_male[age1];}

double collectiveMortalityFemale(double age){
  if(!(age<MONTH_LIMIT-0.5)) return 1.0;
  if(age<0) age=0;
  int age1=round(age);
  double result=one_alive_both_dead_female[age1];
  if(result>=0) return result;
  computeCollectiveMortalityFemale();
  return one_alive_both_dead_female[age1];}

